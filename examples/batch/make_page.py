#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Makes one page of the surveys in a folder, after convert_all.sh: FOLDER/index.html with the picture, the
counts and the status of each, from its summary.json and map.png. Needs only Python 3.8. The links of the page
are relative: it can be opened from the disk, or served or copied with the folder.

    convert_all.sh FOLDER; make_page.py FOLDER
"""

import html
import json
import os
import re
import sys
import time
from pathlib import Path
from urllib.parse import quote

COMPLETE, INCOMPLETE, FAILED, NOT_CONVERTED = "complete", "incomplete", "failed", "not converted"
LINE_START = re.compile(r"^<[EW]>\S+ \S+ \[[^]]*\] ")  # level, time and place of a log line

PAGE = """<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>{title}</title>
<style>
body {{ margin: 2em auto; max-width: 88em; padding: 0 1.5em; font: 15px/1.45 system-ui, sans-serif;
  color: #1d2329; background: #f2f4f6; }}
h1 {{ margin: 0; font-size: 1.6em; overflow-wrap: anywhere; }}
.totals {{ margin: .3em 0 1.5em; color: #56606a; }}
.totals b {{ color: #1d2329; }}
.todo {{ margin: 0 0 1.5em; padding: .8em 1.2em; background: #fff; border-left: 5px solid #b3261e; }}
.todo ul {{ margin: .3em 0 0; padding-left: 1.2em; overflow-wrap: anywhere; }}
.surveys {{ display: grid; grid-template-columns: repeat(auto-fill, minmax(23em, 1fr)); gap: 1.5em; }}
article {{ display: flex; flex-direction: column; overflow: hidden; background: #fff;
  border: 1px solid #d5dae0; border-radius: 6px; break-inside: avoid; }}
.picture {{ position: relative; display: flex; align-items: center; justify-content: center;
  aspect-ratio: 4 / 3; color: #6b7580; background: #e6e9ed; }}
.picture img {{ position: absolute; width: 100%; height: 100%; object-fit: contain; background: #fff; }}
.text {{ padding: .9em 1.1em 1.1em; }}
h2 {{ display: flex; gap: .7em; align-items: start; justify-content: space-between; margin: 0 0 .5em;
  font-size: 1.1em; overflow-wrap: anywhere; }}
.status {{ flex: none; padding: .1em .7em; border-radius: 1em; font-size: .8em; color: #fff; }}
.complete {{ background: #1c7a3d; }}
.incomplete {{ background: #9a6200; }}
.failed, .not-converted {{ background: #b3261e; }}
.reason {{ margin: 0 0 .6em; overflow-wrap: anywhere; }}
dl {{ display: grid; grid-template-columns: max-content 1fr; gap: .1em 1em; margin: 0 0 .6em; }}
dt {{ color: #56606a; }}
dd {{ margin: 0; font-variant-numeric: tabular-nums; }}
a {{ color: #0b57a4; }}
@media print {{ body {{ background: none; }} }}
</style>
<h1>{title}</h1>
<p class="totals">{totals}</p>
{todo}
<div class="surveys">
{surveys}
</div>
"""

SURVEY = """<article id="{anchor}">
{picture}
<div class="text">
<h2>{name} <span class="status {css}">{status}</span></h2>
{reasons}{facts}{links}
</div>
</article>"""


def number(value):
    return f"{value:,}"


def counted(value, noun):
    return f"{number(value)} {noun}{'' if value == 1 else 's'}"


def shown(text):
    """Text for the page; bytes of a name that are not UTF-8 become U+FFFD."""
    return html.escape(os.fsencode(text).decode("utf-8", "replace"))


def link(directory, file):
    return "./" + quote(os.fsencode(directory.name)) + "/" + file


class Survey:
    """What the last conversion of a directory has left there."""

    def __init__(self, directory):
        self.directory = directory
        self.summary = {}
        self.status = NOT_CONVERTED
        try:
            summary = json.loads((directory / "summary.json").read_text("utf-8"))
            self.status = (COMPLETE, INCOMPLETE, FAILED)[summary["status"]]
            self.summary = summary
        except FileNotFoundError:
            pass
        except (OSError, ValueError, LookupError, TypeError) as error:
            print(f"{directory}/summary.json: {error}", file=sys.stderr)

    def written(self):
        return self.summary.get("written", 0)

    def has(self, file):
        return (self.directory / file).is_file()

    def has_picture(self):
        """Whether map.png shows the map.las of the last conversion."""
        picture, las = self.directory / "map.png", self.directory / "map.las"
        try:
            return self.written() > 0 and picture.stat().st_mtime >= las.stat().st_mtime
        except OSError:
            return False

    def reasons(self):
        """Why the survey is not complete, the main reason first."""
        s = self.summary
        if self.status in (COMPLETE, NOT_CONVERTED):
            return [] if self.status == COMPLETE else ["there is no summary.json."]
        error = [LINE_START.sub("", s["first_error"])] if s.get("first_error") else []
        if self.status == FAILED:
            earlier = ["The map.las of an earlier conversion is still there."] if self.has("map.las") else []
            return (error or ["See convert.log."]) + earlier
        reasons = []
        missing = s["points"]["announced"] - s["points"]["found"]
        if missing > 0:
            reasons.append(f"{counted(missing, 'point')} missing at the end of the recording.")
        if s["no_pose"] > 0:
            reasons.append(f"{counted(s['no_pose'], 'point')} left out: no pose for their sweeps.")
        if s["refused"] > 0:
            reasons.append(f"{counted(s['refused'], 'point')} left out: coordinates or time out of range.")
        if s["pose_lines_skipped"] > 0:
            reasons.append(f"{counted(s['pose_lines_skipped'], 'line')} of the pose file skipped.")
        return reasons + error or ["See convert.log."]

    def facts(self):
        s = self.summary
        if self.written() == 0:
            return [("Points read", number(s["read"]))] if s.get("read") else []
        left_out = s["read"] - s["written"]
        share = f" of {number(s['read'])} ({100 * s['written'] / s['read']:.1f} %)" if left_out > 0 else ""
        low, high = s["bounds"]["min"], s["bounds"]["max"]
        frames = s["frames"]
        facts = [
            ("Points", number(s["written"]) + share),
            ("Frames", number(frames["found"]) +
             (f" of {number(frames['announced'])}" if frames["announced"] > frames["found"] else "")),
            ("Extent", f"{high[0] - low[0]:,.0f} m × {high[1] - low[1]:,.0f} m"),
            ("Height", f"{low[2]:,.1f} m to {high[2]:,.1f} m"),
        ]
        if s.get("epsg"):
            facts.append(("System", f"EPSG:{s['epsg']}"))
        if self.has("map.las"):
            facts.append(("File size", f"{(self.directory / 'map.las').stat().st_size / 1e6:,.1f} MB"))
        return facts

    def anchor(self):
        return "survey-" + quote(os.fsencode(self.directory.name), safe="")

    def card(self):
        name = shown(self.directory.name)
        if self.has_picture():
            source = link(self.directory, "map.png")
            image = f'<img loading="lazy" src="{source}" alt="{name} from above">'
            picture = f'<a class="picture" href="{source}">{image}</a>'
        else:
            why = "no picture" if self.written() > 0 else "nothing written"
            picture = f'<div class="picture">{why}</div>'
        files = [file for file in ("map.las", "convert.log", "summary.json") if self.has(file)]
        links = " · ".join(f'<a href="{link(self.directory, file)}">{file}</a>' for file in files)
        facts = "".join(f"<dt>{what}</dt><dd>{value}</dd>" for what, value in self.facts())
        return SURVEY.format(
            anchor=self.anchor(), name=name, status=self.status, css=self.status.replace(" ", "-"), picture=picture,
            reasons="".join(f'<p class="reason">{shown(reason)}</p>\n' for reason in self.reasons()),
            facts=f"<dl>{facts}</dl>\n" if facts else "", links=links)


def page(folder, surveys):
    todo = [survey for status in (FAILED, NOT_CONVERTED, INCOMPLETE) for survey in surveys if survey.status == status]
    counts = [(status, sum(survey.status == status for survey in surveys))
              for status in (COMPLETE, INCOMPLETE, FAILED, NOT_CONVERTED)]
    totals = f"<b>{counted(len(surveys), 'survey')}</b>: "
    totals += ", ".join(f"{count} {status}" for status, count in counts if count > 0)
    totals += f" · {counted(sum(survey.written() for survey in surveys), 'point')} written"
    totals += time.strftime(" · page made %Y-%m-%d %H:%M")
    items = "".join(f'<li><a href="#{quote(survey.anchor())}">{shown(survey.directory.name)}</a> '
                    f'{survey.status}: {shown(survey.reasons()[0])}</li>\n'
                    for survey in todo)
    return PAGE.format(
        title=shown(folder.resolve().name), totals=totals, surveys="\n".join(survey.card() for survey in surveys),
        todo=f'<div class="todo">To be looked at:<ul>\n{items}</ul></div>' if todo else "")


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: make_page.py FOLDER")
    folder = Path(sys.argv[1])
    surveys = [Survey(directory) for directory in sorted(folder.iterdir())
               if (directory / "survey.pcbin").exists() or (directory / "summary.json").exists()]
    unfinished = folder / ".index.html.part"
    unfinished.write_text(page(folder, surveys), "utf-8")
    os.replace(unfinished, folder / "index.html")
    print(f"{folder / 'index.html'}: {counted(len(surveys), 'survey')}")


if __name__ == "__main__":
    try:
        main()
    except OSError as error:
        sys.exit(f"make_page.py: {error}")
