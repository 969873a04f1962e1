#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Writes the table of coordinate systems of epsg.cpp as C++ source, from PROJ's database:

    epsg_table.py /usr/share/proj/proj.db epsg_table.inc

Needs pyproj (Debian: python3-pyproj). epsg_table.sql says which systems the table holds. The limits of their
areas of use in metres are computed by PROJ.
"""

import math
import os
import sqlite3
import sys
import warnings
from pathlib import Path

import pyproj

STEPS = 20  # points on each side of an area

HEADER = """\
// Names, kinds, units and areas of use of coordinate reference systems, taken from the EPSG Geodetic
// Parameter Dataset of the International Association of Oil & Gas Producers (IOGP), {version},
// under its terms of use (https://epsg.org/terms-of-use.html). Generated; not to be edited.
constexpr char kVersion[] = "{version}";
"""


def pool(name, texts):
    """A C++ array of zero-terminated texts, and the position of each in it."""
    lines, positions, end = [], {}, 0
    for text in sorted(texts):
        quoted = text.replace("\\", "\\\\").replace('"', '\\"')
        lines.append(f'    "{quoted}\\0"\n')
        positions[text] = end
        end += len(text.encode()) + 1
    return f"constexpr char {name}[] =\n{''.join(lines)};\n", positions


def border(west, south, east, north):
    """Longitudes and latitudes of points on the border of an area."""
    between = [i / STEPS for i in range(STEPS + 1)]
    longitudes = [west + (east - west) * t for t in between]
    latitudes = [south + (north - south) * t for t in between]
    return (longitudes * 2 + [west] * len(between) + [east] * len(between),
            [south] * len(between) + [north] * len(between) + latitudes * 2)


def metres(code, area):
    """Lowest x and y and highest x and y of an area in the coordinates of a system, east before north; None where
    PROJ cannot compute them."""
    try:
        # Not the change of datum, which moves points by some 100 m and takes much longer.
        x, y = pyproj.Proj(f"EPSG:{code}")(*border(*area))
    except pyproj.exceptions.ProjError:
        return None
    points = [(a, b) for a, b in zip(x, y) if math.isfinite(a) and math.isfinite(b)]
    if not points:
        return None
    x, y = zip(*points)
    return [round(limit) for limit in (min(x), min(y), max(x), max(y))]


def hundredths(west, south, east, north):
    """Limits in hundredths of a degree, from -18000 to 18000."""
    return [round(100 * degrees) for degrees in (west, south, east - 360 if east > 180 else east, north)]


def areas_of_use(database):
    """The area of each system that has one: limits in hundredths of a degree and in metres."""
    found = {}
    for code, west, south, east, north in database.execute("SELECT code, west, south, east, north FROM areas"):
        if east < west:  # across the meridian of 180 degrees
            east += 360
        old = found.get(code, (west, south, east, north))
        found[code] = (min(west, old[0]), min(south, old[1]), max(east, old[2]), max(north, old[3]))
    limits = {code: metres(code, area) for code, area in found.items()}
    return {code: hundredths(*area) + limits[code] for code, area in sorted(found.items()) if limits[code]}


def table(database):
    """The C++ source."""
    query = lambda sql: database.execute(sql).fetchall()
    version = " of ".join(query(f"SELECT value FROM metadata WHERE key = 'EPSG.{key}'")[0][0]
                          for key in ("VERSION", "DATE"))
    units = [name for name, in query("SELECT name FROM units ORDER BY position")]
    systems = query("""SELECT s.code, coalesce(r.other, 0), s.base, s.zone, s.kind, u.position, s.deprecated,
                              s.east_north, s.has_height
                         FROM systems s JOIN units u ON u.code = s.unit LEFT JOIN related r ON r.code = s.code
                        ORDER BY s.code""")
    bases, base_positions = pool("kBases", {system[2] for system in systems})
    zones, zone_positions = pool("kZones", {system[3] for system in systems} | {""})
    areas = areas_of_use(database)
    area_numbers = {code: number for number, code in enumerate(areas)}
    text = HEADER.format(version=version)
    text += "constexpr const char* kUnits[] = {" + "".join(f'\n    "{name}",' for name in units) + "\n};\n"
    text += bases + zones + "constexpr Area kAreas[] = {\n"
    text += "".join(f"    {{{', '.join(map(str, area))}}},\n" for area in areas.values())
    text += "};\nconstexpr Entry kEntries[] = {\n"
    for code, other, base, zone, kind, unit, deprecated, east_north, has_height in systems:
        text += (f"    {{{code}, {other}, {base_positions[base]}, {area_numbers.get(code, 'kNoArea')}, "
                 f"{zone_positions[zone]}, {kind}, {unit}, {deprecated}, {east_north}, {has_height}}},\n")
    return text + "};\n"


def main():
    proj_db, output = sys.argv[1:]
    pyproj.datadir.set_data_dir(str(Path(proj_db).parent))
    warnings.simplefilter("ignore")  # of systems that are deprecated
    database = sqlite3.connect(Path(proj_db).absolute().as_uri() + "?mode=ro", uri=True)
    database.executescript(Path(__file__).with_name("epsg_table.sql").read_text("utf-8"))
    unfinished = output + ".part"
    Path(unfinished).write_text(table(database), "utf-8")
    os.replace(unfinished, output)


if __name__ == "__main__":
    main()
