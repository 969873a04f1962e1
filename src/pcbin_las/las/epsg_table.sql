-- SPDX-License-Identifier: BSD-3-Clause
-- The coordinate systems of the table of epsg.cpp, taken from PROJ's database; run by epsg_table.py.
--
-- The database holds the EPSG Geodetic Parameter Dataset of the International Association of Oil &
-- Gas Producers (IOGP). Its terms of use (https://epsg.org/terms-of-use.html) allow this use and
-- ask for the attribution that the first lines of the table give.

CREATE TEMP VIEW axes AS
SELECT cs.auth_name, cs.code,
       (SELECT uom_code FROM axis
         WHERE coordinate_system_auth_name = cs.auth_name AND coordinate_system_code = cs.code
           AND coordinate_system_order = 1 AND uom_auth_name = 'EPSG') AS unit,
       (SELECT count(*) = 2 FROM axis
         WHERE coordinate_system_auth_name = cs.auth_name AND coordinate_system_code = cs.code
           AND orientation IN ('east', 'north')) AS east_north,
       cs.dimension = 3 AS has_height
  FROM coordinate_system cs;

CREATE TEMP TABLE systems AS
SELECT CAST(v.code AS INTEGER) AS code, v.name, v.deprecated,
       CASE v.type WHEN 'projected' THEN 'kProjected' WHEN 'geographic 2D' THEN 'kGeographic'
                   WHEN 'geographic 3D' THEN 'kGeographic' WHEN 'geocentric' THEN 'kGeocentric'
                   WHEN 'vertical' THEN 'kVertical' WHEN 'compound' THEN 'kCompound'
                   ELSE 'kOther' END AS kind,
       coalesce(a.unit, 0) AS unit, coalesce(a.east_north, 0) AS east_north,
       coalesce(a.has_height, 0) AS has_height,
       coalesce(c.horiz_crs_code, 0) AS horizontal,
       substr(v.name, 1, coalesce(nullif(instr(v.name, ' / '), 0) - 1, length(v.name))) AS base,
       CASE WHEN instr(v.name, ' / ') > 0 THEN substr(v.name, instr(v.name, ' / ') + 3)
            ELSE '' END AS zone
  FROM crs_view v
  LEFT JOIN projected_crs p ON (p.auth_name, p.code) = (v.auth_name, v.code)
  LEFT JOIN geodetic_crs g ON (g.auth_name, g.code) = (v.auth_name, v.code)
  LEFT JOIN vertical_crs h ON (h.auth_name, h.code) = (v.auth_name, v.code)
  LEFT JOIN compound_crs c ON (c.auth_name, c.code) = (v.auth_name, v.code)
                          AND c.horiz_crs_auth_name = 'EPSG'
  LEFT JOIN axes a
    ON a.auth_name = coalesce(p.coordinate_system_auth_name, g.coordinate_system_auth_name,
                              h.coordinate_system_auth_name)
   AND a.code = coalesce(p.coordinate_system_code, g.coordinate_system_code,
                         h.coordinate_system_code)
 WHERE v.auth_name = 'EPSG' AND CAST(v.code AS INTEGER) BETWEEN 1024 AND 32766;

-- A compound system has the unit of its horizontal part.
CREATE INDEX temp.system_codes ON systems (code);
UPDATE systems SET unit = (SELECT h.unit FROM systems h WHERE h.code = systems.horizontal)
 WHERE horizontal IN (SELECT code FROM systems);

CREATE TEMP TABLE good AS
SELECT code, name FROM systems WHERE kind = 'kProjected' AND unit = 9001 AND NOT deprecated;

CREATE INDEX temp.good_names ON good (name);
-- The code to name beside a refused or deprecated one, where there is exactly one, else 0: the
-- horizontal part of a compound system, the metre version of a projected system in feet (the same
-- name without the unit), the replacement of a deprecated system.
CREATE TEMP TABLE related AS
SELECT code, horizontal AS other FROM systems WHERE horizontal IN (SELECT code FROM systems)
UNION ALL
SELECT s.code, min(g.code) FROM systems s JOIN good g
    ON g.name IN (replace(replace(s.name, ' (ftUS)', ''), ' (ft)', ''),
                  replace(replace(s.name, '(ftUS)', '(m)'), '(ft)', '(m)'))
 WHERE s.kind = 'kProjected' AND s.unit <> 9001
 GROUP BY s.code HAVING count(*) = 1
UNION ALL
SELECT s.code, min(d.replacement_code) FROM systems s
  JOIN deprecation d ON d.table_name = 'projected_crs' AND d.deprecated_auth_name = 'EPSG'
                    AND d.deprecated_code = s.code AND d.replacement_auth_name = 'EPSG'
 WHERE s.kind = 'kProjected' AND s.unit = 9001
 GROUP BY s.code HAVING count(*) = 1 AND min(d.replacement_code) IN (SELECT code FROM good);

CREATE TEMP TABLE units AS  -- the metre first
SELECT code, row_number() OVER (ORDER BY code <> 9001, code) - 1 AS position,
       CASE WHEN name LIKE 'degree%' THEN 'degree' ELSE name END AS name
  FROM (SELECT 0 AS code, '' AS name UNION ALL
        SELECT code, name FROM unit_of_measure
         WHERE auth_name = 'EPSG' AND code IN (SELECT unit FROM systems));

-- The areas of use in degrees; some systems have several, some have none.
CREATE TEMP TABLE areas AS
SELECT s.code, e.west_lon AS west, e.south_lat AS south, e.east_lon AS east, e.north_lat AS north
  FROM systems s
  JOIN usage u ON (u.object_table_name, u.object_auth_name, u.object_code)
                = ('projected_crs', 'EPSG', CAST(s.code AS TEXT))
  JOIN extent e ON (e.auth_name, e.code) = (u.extent_auth_name, u.extent_code)
 WHERE s.kind = 'kProjected' AND s.unit = 9001
   AND NOT (west_lon IS NULL OR south_lat IS NULL OR east_lon IS NULL OR north_lat IS NULL);
