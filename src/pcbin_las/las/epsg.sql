-- SPDX-License-Identifier: BSD-3-Clause
-- Writes the table of coordinate systems of epsg.cpp as C++ source, from PROJ's database:
--   sqlite3 -batch -bail -noheader -list -readonly proj.db ".read epsg.sql" > epsg_table.inc
--
-- The database holds the EPSG Geodetic Parameter Dataset of the International Association of Oil &
-- Gas Producers (IOGP). Its terms of use (https://epsg.org/terms-of-use.html) allow this use and
-- ask for the attribution that the first lines of the output give.
--
-- Names are stored in two pools of zero-terminated texts: the part of a name before the
-- first " / ", the base, and the part after it, the zone. Many names share each of them.

CREATE TEMP VIEW axes AS
SELECT cs.auth_name, cs.code,
       (SELECT uom_code FROM axis
         WHERE coordinate_system_auth_name = cs.auth_name AND coordinate_system_code = cs.code
           AND coordinate_system_order = 1 AND uom_auth_name = 'EPSG') AS unit,
       (SELECT count(*) = 2 FROM axis
         WHERE coordinate_system_auth_name = cs.auth_name AND coordinate_system_code = cs.code
           AND orientation IN ('east', 'north')) AS east_north
  FROM coordinate_system cs;

CREATE TEMP TABLE systems AS
SELECT CAST(v.code AS INTEGER) AS code, v.name, v.deprecated,
       CASE v.type WHEN 'projected' THEN 'kProjected' WHEN 'geographic 2D' THEN 'kGeographic'
                   WHEN 'geographic 3D' THEN 'kGeographic' WHEN 'geocentric' THEN 'kGeocentric'
                   WHEN 'vertical' THEN 'kVertical' WHEN 'compound' THEN 'kCompound'
                   ELSE 'kOther' END AS kind,
       coalesce(a.unit, 0) AS unit, coalesce(a.east_north, 0) AS east_north,
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
UPDATE systems SET unit = (SELECT h.unit FROM systems h WHERE h.code = systems.horizontal)
 WHERE horizontal IN (SELECT code FROM systems);

CREATE TEMP TABLE good AS
SELECT code, name FROM systems WHERE kind = 'kProjected' AND unit = 9001 AND NOT deprecated;

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

CREATE TEMP TABLE bases AS
SELECT text, coalesce(sum(length(CAST(text AS BLOB)) + 1) OVER (
         ORDER BY text ROWS BETWEEN UNBOUNDED PRECEDING AND 1 PRECEDING), 0) AS position
  FROM (SELECT DISTINCT base AS text FROM systems);

CREATE TEMP TABLE zones AS  -- the empty one first
SELECT text, coalesce(sum(length(CAST(text AS BLOB)) + 1) OVER (
         ORDER BY text ROWS BETWEEN UNBOUNDED PRECEDING AND 1 PRECEDING), 0) AS position
  FROM (SELECT zone AS text FROM systems UNION SELECT '');

SELECT '// Names, kinds and units of coordinate reference systems, taken from the EPSG Geodetic
// Parameter Dataset of the International Association of Oil & Gas Producers (IOGP), ' ||
       (SELECT value FROM metadata WHERE key = 'EPSG.VERSION') || ' of ' ||
       (SELECT value FROM metadata WHERE key = 'EPSG.DATE') || ',
// under its terms of use (https://epsg.org/terms-of-use.html). Generated; not to be edited.
constexpr char kVersion[] = "' || (SELECT value FROM metadata WHERE key = 'EPSG.VERSION') ||
       ' of ' || (SELECT value FROM metadata WHERE key = 'EPSG.DATE') || '";';

SELECT 'constexpr const char* kUnits[] = {';
SELECT '    "' || name || '",' FROM units ORDER BY position;
SELECT '};
constexpr char kBases[] =';
SELECT '    "' || replace(replace(text, '\', '\\'), '"', '\"') || '\0"' FROM bases ORDER BY text;
SELECT ';
constexpr char kZones[] =';
SELECT '    "' || replace(replace(text, '\', '\\'), '"', '\"') || '\0"' FROM zones ORDER BY text;
SELECT ';
constexpr Entry kEntries[] = {';
SELECT '    {' || s.code || ', ' || coalesce(r.other, 0) || ', ' || b.position || ', ' ||
       z.position || ', ' || s.kind || ', ' || u.position || ', ' || s.deprecated || ', ' ||
       s.east_north || '},'
  FROM systems s JOIN bases b ON b.text = s.base JOIN zones z ON z.text = s.zone
  JOIN units u ON u.code = s.unit LEFT JOIN related r ON r.code = s.code
 ORDER BY s.code;
SELECT '};';
