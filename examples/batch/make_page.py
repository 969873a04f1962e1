#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Makes one page of the surveys in a folder, after convert_all.sh or slurm_array.sh: FOLDER/index.html with the
picture, the counts and the status of each. Needs only Python 3.8. The page loads nothing from the network; its
links are relative, so that it can be opened from the disk, or served or copied with the folder.

    convert_all.sh FOLDER; make_page.py FOLDER

A survey is complete only if its summary.json says so, map.las is the file that it describes, and convert.log has
come to its end. When the folder has a file convert.start, results that are older than it do not count, except of
surveys that --skip-done has checked since.
"""

import html
import json
import math
import os
import re
import stat
import struct
import sys
import tempfile
import time
from pathlib import Path
from urllib.parse import quote

FAILED, REFUSED, NOT_TRIED, INCOMPLETE, WARNINGS, COMPLETE = STATUSES = (
    "failed", "refused", "not tried", "incomplete", "complete with warnings", "complete")
FILES = ("map.las", "convert.log", "summary.json")
LINE_START = re.compile(r"^<[EW]>[^]]*\] ")  # level, time and place of a log line
LAST_LINE = re.compile(r"^(?:convert_survey\.sh: (?P<outcome>[a-z]+)(?:: (?P<cause>.*))?|batch: status=)", re.DOTALL)
CLOSING_WARNING = "not everything was written"
LOG_LIMIT = 1 << 18  # bytes read at each end of a log
SUMMARY_LIMIT = 1 << 20
MOST_LINKS = 12  # of a cause that are shown at once

PAGE = """<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>{title}</title>
<style>
body {{ margin: 2em auto; max-width: 88em; padding: 0 1.5em; font: 15px/1.45 system-ui, sans-serif;
  color: #1d2329; background: #f2f4f6; }}
h1 {{ margin: 0; font-size: 1.6em; overflow-wrap: anywhere; }}
.totals {{ margin: .3em 0 1.2em; color: #4c5661; }}
.totals b {{ color: #1d2329; }}
.problems {{ margin: 0 0 1.5em; padding: .8em 1.2em; background: #fff; border-left: 5px solid #b3261e;
  overflow-wrap: anywhere; }}
.problems ul {{ margin: .3em 0 0; padding: 0; list-style: none; }}
.problems li {{ margin: .4em 0; }}
.tools {{ display: flex; flex-wrap: wrap; gap: .5em; align-items: center; margin: 0 0 1.2em; }}
.tools[hidden] {{ display: none; }}
.tools :is(button, input, select) {{ font: inherit; padding: .25em .8em; color: #1d2329; background: #fff;
  border: 1px solid #767f89; border-radius: 4px; }}
.tools input {{ flex: 0 1 14em; min-width: 8em; }}
.tools button[aria-pressed=true] {{ color: #fff; background: #2b3640; }}
.surveys {{ display: grid; grid-template-columns: repeat(auto-fill, minmax(min(21em, 100%), 1fr)); gap: 1.2em; }}
article {{ display: flex; flex-direction: column; overflow: hidden; background: #fff;
  border: 1px solid #d5dae0; border-radius: 6px; break-inside: avoid;
  content-visibility: auto; contain-intrinsic-size: auto 30em; }}
article[hidden] {{ display: none; }}
.picture {{ position: relative; display: flex; align-items: center; justify-content: center;
  aspect-ratio: 2 / 1; color: #4c5661; background: #e6e9ed; }}
.picture img {{ position: absolute; width: 100%; height: 100%; object-fit: contain; background: #1e2128; }}
.text {{ padding: .9em 1.1em 1.1em; }}
h2 {{ margin: 0 0 .5em; font-size: 1.1em; overflow-wrap: anywhere; }}
article h2 {{ margin-top: .4em; }}
.status {{ display: inline-block; padding: .1em .7em; border-radius: 1em; font-size: .8rem; font-weight: 600;
  color: #fff; }}
.complete {{ background: #1c7a3d; }}
.complete-with-warnings {{ background: #5f6b00; }}
.incomplete {{ background: #935b00; }}
.not-tried {{ background: #56606a; }}
.refused {{ background: #86286f; }}
.failed {{ background: #b3261e; }}
.reason {{ margin: 0 0 .6em; overflow-wrap: anywhere; }}
details {{ margin: 0 0 .6em; overflow-wrap: anywhere; }}
details ul {{ margin: .2em 0; padding-left: 1.2em; }}
dl {{ display: grid; grid-template-columns: max-content 1fr; gap: .1em 1em; margin: 0 0 .6em; }}
dt {{ color: #4c5661; }}
dd {{ margin: 0; overflow-wrap: anywhere; font-variant-numeric: tabular-nums; }}
a {{ color: #0b57a4; }}
@media (max-width: 40em) {{ body {{ margin: 1em auto; padding: 0 .8em; }} }}
@media print {{ body {{ background: none; }} .tools {{ display: none; }} }}
</style>
<h1>{title}</h1>
<p class="totals">{totals}</p>
{problems}<div class="tools" hidden>
{buttons}<input type="search" placeholder="part of a name" aria-label="part of a name">
<select aria-label="order">
<option value="place">problems first</option>
<option value="name">by name</option>
<option value="date">newest first</option>
<option value="seconds">longest duration first</option>
<option value="points">most points first</option>
</select>
</div>
<main class="surveys">
{surveys}
</main>
<script>
const tools = document.querySelector(".tools"), list = document.querySelector(".surveys");
const buttons = [...tools.querySelectorAll("button")], [part, order] = tools.querySelectorAll("input, select");
const cards = [...list.children];
function filter() {{
  const wanted = buttons.filter(b => b.getAttribute("aria-pressed") === "true").map(b => b.value);
  const text = part.value.toLowerCase();
  for (const card of cards) card.hidden = wanted.length > 0 && !wanted.includes(card.dataset.status) ||
    !card.dataset.name.toLowerCase().includes(text);
}}
function sort() {{
  const key = order.value;
  cards.sort((a, b) => key === "name" ? a.dataset.name.localeCompare(b.dataset.name, undefined, {{numeric: true}}) :
    key === "place" ? a.dataset.place - b.dataset.place : b.dataset[key] - a.dataset[key]);
  list.append(...cards);
}}
for (const button of buttons) button.onclick = () => {{
  button.setAttribute("aria-pressed", button.getAttribute("aria-pressed") !== "true");
  filter();
}};
part.oninput = filter;
order.onchange = sort;
tools.hidden = false;
addEventListener("hashchange", () => {{  // a link to a survey shows it, whatever was filtered out
  const card = document.getElementById(decodeURIComponent(location.hash.slice(1)));
  if (card) {{ card.hidden = false; card.scrollIntoView(); }}
}});
</script>
"""

CARD = """<article id="{anchor}" data-status="{status}" data-name="{name}" data-place="{place}" data-date="{date}"
 data-seconds="{seconds}" data-points="{points}">
{picture}<div class="text">
<span class="status {css}">{status}</span>
<h2>{name}</h2>
{reasons}{warnings}{facts}{links}
</div>
</article>"""


def number(value):
    return f"{value:,}"


def counted(value, noun):
    return f"{number(value)} {noun}{'' if value == 1 else 's'}"


def shown(text):
    """Text for the page; bytes of a name that are not UTF-8 become U+FFFD."""
    return html.escape(os.fsencode(text).decode("utf-8", "replace"))


def date_text(seconds):
    return time.strftime("%Y-%m-%d %H:%M", time.localtime(seconds))


def duration_text(seconds):
    minutes, rest = divmod(round(seconds), 60)
    return f"{seconds:.1f} s" if seconds < 60 else f"{minutes} min {rest} s"


def css(status):
    return status.replace(" ", "-")


def whole(value):
    """The value, if it is a count; else None."""
    return value if type(value) is int and 0 <= value < 1 << 64 else None


def real(value):
    """The value as a float, if it is a finite number; else None."""
    return float(value) if type(value) in (int, float) and abs(value) < 1e300 and math.isfinite(value) else None


def open_regular(path):
    """Opens a file that must be a regular one: a named pipe would block."""
    file = os.fdopen(os.open(path, os.O_RDONLY | os.O_NONBLOCK | os.O_CLOEXEC), "rb")
    if not stat.S_ISREG(os.fstat(file.fileno()).st_mode):
        file.close()
        raise OSError("it is not a regular file")
    return file


def modified(path):
    """Time of the last change of a regular file in nanoseconds, or 0."""
    try:
        status = os.stat(path)
    except OSError:
        return 0
    return status.st_mtime_ns if stat.S_ISREG(status.st_mode) else 0


def read_summary(path):
    """The object in a summary; OSError or ValueError when it is not usable."""
    with open_regular(path) as file:
        text = file.read(SUMMARY_LIMIT + 1)
    if len(text) > SUMMARY_LIMIT:
        raise ValueError("it is too large")
    try:
        summary = json.loads(text)
    except RecursionError:
        raise ValueError("it is nested too deeply") from None
    if not isinstance(summary, dict):
        raise ValueError("it is not an object")
    for key in ("status", "read", "written", "no_pose", "refused", "pose_lines_skipped"):
        if whole(summary.get(key)) is None:
            raise ValueError(f"it has no valid {key}")
    if summary["status"] > 2:
        raise ValueError("it has no valid status")
    return summary


def read_log(path):
    """The lines of a log; of a very long one, those at its beginning and its end."""
    with open_regular(path) as file:
        text = file.read(LOG_LIMIT)
        size = os.fstat(file.fileno()).st_size
        if size > LOG_LIMIT:
            file.seek(max(LOG_LIMIT, size - LOG_LIMIT))
            text += b"\n" + file.read(LOG_LIMIT)
    return text.decode("utf-8", "replace").split("\n")


class Survey:
    """What the last conversion of a directory has left there."""

    def __init__(self, directory, start):
        self.directory = directory
        self.name = directory.name
        self.summary, self.log, self.reasons, self.warnings = {}, [], [], []
        try:
            self.status = self.judge(start)
        except Exception as error:  # one odd file must not take down the page of all surveys
            self.status, self.reasons = FAILED, [f"its files cannot be read: {error}"]
        if self.status == COMPLETE and self.warnings:
            self.status = WARNINGS

    def path(self, file):
        return self.directory / file

    def fail(self, *reasons, status=FAILED):
        self.reasons = [LINE_START.sub("", reason) for reason in reasons if reason]
        return status

    def judge(self, start):
        """The status; also sets the reasons and the warnings."""
        os.listdir(self.directory)  # raises an OSError for a directory that cannot be read
        result = max(modified(self.path("convert.log")), modified(self.path("summary.json")))
        for file in ("convert.log", "summary.json"):
            if os.path.lexists(self.path(file)) and not modified(self.path(file)):
                return self.fail(f"{file} is not a regular file that can be read.")
        if result == 0:
            return self.fail("there is neither a convert.log nor a summary.json.", status=NOT_TRIED)
        if max(result, modified(self.path("convert.done"))) < start:
            return self.fail(f"the last result is of {date_text(result / 1e9)}.", status=NOT_TRIED)
        if os.path.lexists(self.path("convert.log")):
            self.log = read_log(self.path("convert.log"))
        last = LAST_LINE.match(next((line for line in reversed(self.log) if line), ""))
        if self.log and not last:
            return self.fail("the run was stopped before its end, or it is still running.", self.first_line("<E>"))
        outcome, cause = last.group("outcome", "cause") if last else (None, None)
        if not os.path.lexists(self.path("summary.json")):
            return self.fail(cause or self.first_line("<E>") or "there is no summary.json.",
                             status=REFUSED if outcome == "refused" else FAILED)
        try:
            self.summary = read_summary(self.path("summary.json"))
        except (OSError, ValueError) as error:
            return self.fail(f"summary.json is not usable: {error}.")
        if outcome in ("refused", "failed"):
            return self.fail(cause, status=REFUSED if outcome == "refused" else FAILED)
        return self.judge_summary()

    def judge_summary(self):
        s = self.summary
        error = self.text("first_error")
        if s["status"] == 2:
            return self.fail(error or self.first_line("<E>") or "see convert.log.")
        difference = self.difference()
        if difference:
            return self.fail(f"map.las is not the file that summary.json describes: {difference}.")
        listed = s.get("warnings")
        lines = [line for line in listed if isinstance(line, str)] if isinstance(listed, list) else [
            line for line in self.log if line.startswith("<W>")]
        self.warnings = [LINE_START.sub("", line) for line in lines if CLOSING_WARNING not in line][:20]
        return COMPLETE if s["status"] == 0 else self.fail(*self.missing(), error, status=INCOMPLETE)

    def difference(self):
        """How map.las differs from what the summary describes; None if it does not."""
        try:
            with open_regular(self.path("map.las")) as file:
                size = os.fstat(file.fileno()).st_size
                header = file.read(227)
        except OSError as error:
            return error.strerror or str(error)
        if len(header) < 227 or header[:4] != b"LASF":
            return "it is not a LAS file"
        wanted = self.part("map", "bytes", whole)
        if wanted is not None and wanted != size:
            return f"it has {number(size)} bytes instead of {number(wanted)}"
        records = struct.unpack_from("<I", header, 107)[0]
        wanted = self.part("map", "records", whole)
        wanted = self.summary["written"] if wanted is None else wanted
        return None if records == wanted else f"it has {number(records)} points instead of {number(wanted)}"

    def missing(self):
        """Why the survey is not complete, the main reason first."""
        s, reasons = self.summary, []
        announced, found = self.part("points", "announced", whole), self.part("points", "found", whole)
        if announced is not None and found is not None and announced > found:
            reasons.append(f"{counted(announced - found, 'point')} missing at the end of the recording.")
        if s["no_pose"] > 0:
            reasons.append(f"{counted(s['no_pose'], 'point')} left out: no pose for their sweeps.")
        if s["refused"] > 0:
            reasons.append(f"{counted(s['refused'], 'point')} left out: their coordinates do not fit.")
        if s["pose_lines_skipped"] > 0:
            reasons.append(f"{counted(s['pose_lines_skipped'], 'line')} of the pose file skipped.")
        return reasons or ([] if self.text("first_error") else ["see convert.log."])

    def text(self, key):
        value = self.summary.get(key)
        return value if isinstance(value, str) else ""

    def part(self, key, inner, convert):
        """A number in an object of the summary, or None."""
        value = self.summary.get(key)
        return convert(value.get(inner)) if isinstance(value, dict) else None

    def first_line(self, level):
        return next((LINE_START.sub("", line) for line in self.log if line.startswith(level)), None)

    def written(self):
        return self.summary["written"] if self.status in (COMPLETE, WARNINGS, INCOMPLETE) else 0

    def seconds(self):
        return real(self.summary.get("seconds")) or 0

    def date(self):
        """When the last conversion ended, in seconds, or 0."""
        return (modified(self.path("summary.json")) or modified(self.path("convert.log"))) / 1e9

    def causes(self):
        """Why the survey must be looked at: the first reason, or each warning; without its own path."""
        texts = self.warnings if self.status == WARNINGS else self.reasons[:1]
        return [re.sub(r"[^()\s]*" + re.escape(self.name) + "/", "", text) for text in texts]

    def corner(self, which):
        """The lowest or highest x, y, z of the map, or None."""
        bounds = self.summary.get("bounds")
        values = bounds.get(which) if isinstance(bounds, dict) else None
        values = [real(value) for value in values] if isinstance(values, list) else []
        return values if len(values) == 3 and None not in values else None

    def system(self):
        code = whole(self.summary.get("epsg"))
        if code is None:
            return "not named"
        line = next((line for line in self.log if line.startswith("<I>") and f"] EPSG:{code}, " in line), "")
        name = re.sub(r", (area of use|[\d.]+ (to|degrees)) .*", "", line.partition(f"] EPSG:{code}, ")[2])
        return f"EPSG:{code}" + (f", {name}" if name else "")

    def moved(self):
        """What the poses did, if the summary says it."""
        if "moved" not in self.summary:
            return []
        median, most, turned, tilted = (self.part("moved", key, real) for key in ("median", "max", "turned", "tilted"))
        if None in (median, most, turned, tilted):
            return [("Poses", "no point moved")]
        return [("Poses", f"points moved by {median:.1f} m (median), up to {most:.1f} m; turned up to {turned:.1f}°, "
                          f"tilted up to {tilted:.1f}°")]

    def facts(self):
        facts = []
        s = self.summary
        if self.written() > 0:
            share = "" if s["written"] >= s["read"] else f" of {number(s['read'])} ({100 * s['written'] / s['read']:.1f} %)"
            facts.append(("Points", number(s["written"]) + share))
            low, high = self.corner("min"), self.corner("max")
            if low and high:
                facts.append(("Extent", f"{high[0] - low[0]:,.0f} m × {high[1] - low[1]:,.0f} m, "
                                        f"heights {low[2]:,.1f} m to {high[2]:,.1f} m"))
            facts.extend(self.moved())
            facts.append(("System", self.system()))
            facts.append(("Size", f"{os.stat(self.path('map.las')).st_size / 1e6:,.1f} MB"))
        if self.seconds() > 0:
            facts.append(("Duration", duration_text(self.seconds())))
        if self.date() > 0:
            facts.append(("Date", date_text(self.date())))
        return facts

    def picture(self, *files):
        """The first of these files that shows map.las as the last conversion has left it, or None."""
        drawn = modified(self.path("map.las")) if self.written() > 0 else 0
        return next((file for file in files if modified(self.path(file)) >= drawn > 0), None)

    def link(self, file):
        return "./" + quote(os.fsencode(self.name)) + "/" + file

    def anchor(self):
        return "survey-" + quote(os.fsencode(self.name), safe="")

    def links(self):
        for file in FILES:
            if os.path.isfile(self.path(file)):
                kind = "unverified " if file == "map.las" and self.written() == 0 else ""
                yield f'<a href="{self.link(file)}">{kind}{file}</a>'

    def card(self, place):
        name, small, large = shown(self.name), self.picture("map_small.png", "map.png"), self.picture("map.png")
        if large:
            image = f'<img loading="lazy" src="{self.link(small)}" alt="{name} from above">'
            image = f'<a class="picture" href="{self.link(large)}">{image}</a>\n'
        else:
            image = '<div class="picture">no picture</div>\n' if self.written() > 0 else ""
        warnings = "".join(f"<li>{shown(warning)}</li>" for warning in self.warnings)
        if warnings:
            warnings = f"<details><summary>{counted(len(self.warnings), 'warning')}</summary><ul>{warnings}</ul></details>\n"
        facts = "".join(f"<dt>{what}</dt><dd>{shown(value)}</dd>" for what, value in self.facts())
        return CARD.format(
            anchor=self.anchor(), name=name, status=self.status, css=css(self.status), place=place, picture=image,
            date=int(self.date()), seconds=self.seconds(), points=self.written(), warnings=warnings,
            reasons="".join(f'<p class="reason">{shown(reason)}</p>\n' for reason in self.reasons),
            facts=f"<dl>{facts}</dl>\n" if facts else "",
            links=" · ".join(self.links()))


def without_numbers(text):
    return re.sub(r"\d[\d,.]*\d|\d", "N", text)


def problem_groups(surveys):
    """Lists of (survey, cause), one list for each cause, the worst first and then the largest."""
    groups = {}
    for survey in surveys:
        for cause in survey.causes():
            groups.setdefault((survey.status, without_numbers(cause)), []).append((survey, cause))
    return sorted(groups.values(), key=lambda group: (STATUSES.index(group[0][0].status), -len(group)))


def problem_list(groups):
    items = ""
    for group in groups:
        status, cause = group[0][0].status, group[0][1]
        if any(other != cause for _, other in group):
            cause = without_numbers(cause)
        links = ", ".join(f'<a href="#{quote(survey.anchor())}">{shown(survey.name)}</a>' for survey, _ in group)
        if len(group) > MOST_LINKS:
            links = f"<details><summary>{len(group)} surveys</summary>{links}</details>"
        items += f'<li><span class="status {css(status)}">{len(group)} {status}</span> {shown(cause)} {links}</li>\n'
    return f'<section class="problems"><h2>To be looked at</h2><ul>\n{items}</ul></section>\n' if items else ""


def page(folder, surveys, start):
    groups = problem_groups(surveys)
    ordered = list(dict.fromkeys([survey for group in groups for survey, _ in group] + surveys))
    counts = [(status, sum(survey.status == status for survey in surveys)) for status in reversed(STATUSES)]
    totals = f"<b>{counted(len(surveys), 'survey')}</b>: "
    totals += ", ".join(f"{count} {status}" for status, count in counts if count > 0)
    totals += f" · {counted(sum(survey.written() for survey in surveys), 'point')} written"
    if start > 0:
        totals += f" · results since {date_text(start / 1e9)}"
    totals += f" · page made {date_text(time.time())}"
    buttons = "".join(f'<button value="{status}" aria-pressed="false">{status} ({count})</button>\n'
                      for status, count in reversed(counts) if count > 0)
    return PAGE.format(
        title=shown(folder.resolve().name), totals=totals, problems=problem_list(groups), buttons=buttons,
        surveys="\n".join(survey.card(place) for place, survey in enumerate(ordered)))


def is_survey(directory):
    """Whether a directory has something that a conversion reads or leaves."""
    try:
        names = os.listdir(directory)
    except NotADirectoryError:
        return False
    except OSError:
        return True  # to be shown as one that cannot be read
    return any(name.lower().endswith(".pcbin") or name in ("pgo.csv", "summary.json", "convert.log") for name in names)


def write_whole(path, text):
    """Replaces a file, or leaves the old one; a link is replaced, not followed."""
    descriptor, unfinished = tempfile.mkstemp(prefix=".index.html.", dir=path.parent)
    try:
        with os.fdopen(descriptor, "w", encoding="utf-8") as file:
            file.write(text)
            mask = os.umask(0)
            os.umask(mask)
            os.fchmod(descriptor, 0o666 & ~mask)
        os.replace(unfinished, path)
    except BaseException:
        os.unlink(unfinished)
        raise


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: make_page.py FOLDER")
    folder = Path(sys.argv[1])
    start = modified(folder / "convert.start")
    surveys = [Survey(directory, start) for directory in sorted(folder.iterdir())
               if directory.is_dir() and is_survey(directory)]
    write_whole(folder / "index.html", page(folder, surveys, start))
    print(f"{folder / 'index.html'}: {counted(len(surveys), 'survey')}")


if __name__ == "__main__":
    try:
        main()
    except OSError as error:
        sys.exit(f"make_page.py: {error}")
