#!/usr/bin/env python3
"""Shows reports in a browser, points and clicks, and looks at the results.

usage: browser_test.py WAVELARKCTL PLAY_DAYS [DIRECTORY]

With a DIRECTORY it also leaves screenshots there. The exit status is 77 if there is no browser.
"""

import json
import os
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import browser  # noqa: E402

SKIPPED = 77
PHONE, DESKTOP = 360, 1280
EVIL = "</script><img src=x onerror=\"window.hacked = 1\"><script>window.hacked = 1</script>"

wavelarkctl, play_days, pictures = None, None, None


def report(database, page, *options):
    """Writes a page and returns its data."""
    period = ["--since", "2026-03-09Z", "--until", "2026-03-16Z", "--database", database]
    environment = {**os.environ, "TZ": "UTC"}
    for output in (["-o", page], ["--json"]):
        result = subprocess.run([wavelarkctl, "report", *period, *options, *output],
                                env=environment, stdout=subprocess.PIPE, check=False)
        assert result.returncode in (0, 1), result
    return json.loads(result.stdout)


def luminance(colour):
    parts = [int(part) / 255 for part in colour[colour.index("(") + 1:-1].split(",")[:3]]
    red, green, blue = [part / 12.92 if part <= 0.03928 else ((part + 0.055) / 1.055) ** 2.4
                        for part in parts]
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue


def contrast(one, other):
    bright, dark = sorted((luminance(one), luminance(other)), reverse=True)
    return (bright + 0.05) / (dark + 0.05)


class ReportInBrowser(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = tempfile.TemporaryDirectory()
        cls.browser = browser.Browser()
        cls.database = os.path.join(cls.directory.name, "records.db")
        cls.page = os.path.join(cls.directory.name, "report.html")
        subprocess.run([play_days, cls.database, "--days", "14"], stdout=subprocess.DEVNULL,
                       check=True)
        cls.data = report(cls.database, cls.page)

    @classmethod
    def tearDownClass(cls):
        cls.browser.close()
        cls.directory.cleanup()

    def setUp(self):
        self.browser.problems.clear()

    def tearDown(self):
        self.assertEqual(self.browser.problems, [])

    def show(self, page=None, **options):
        self.browser.open(page or self.page, **options)

    def value(self, expression):
        return self.browser.evaluate(expression)

    def wait(self, condition):
        """Waits until an expression is true, as the page draws."""
        self.value("new Promise((done, fail) => {"
                   " const late = setTimeout(() => fail(new Error('in vain')), 20000);"
                   f" const look = () => {{ if ({condition}) {{ clearTimeout(late); done(); }}"
                   " else requestAnimationFrame(look); }; look(); })")

    def middle(self, selector):
        """Where an element is, after it has been scrolled to."""
        return self.value(
            f"(() => {{ const e = document.querySelector({json.dumps(selector)});"
            " e.scrollIntoView({block: 'center', behavior: 'instant'});"
            " const r = e.getBoundingClientRect();"
            " return [r.x + r.width / 2, r.y + r.height / 2]; })()")

    def point(self, selector, dataset, index):
        """Points at a value of a chart, and returns the lines of the label that appears."""
        canvas = f"document.querySelector({json.dumps(selector + ' canvas')})"
        self.middle(selector + " canvas")
        x, y = self.value(
            f"(() => {{ const c = {canvas}; const r = c.getBoundingClientRect();"
            f" const e = Chart.getChart(c).getDatasetMeta({dataset}).data[{index}];"
            " const p = e.getCenterPoint(); return [r.x + p.x, r.y + p.y]; })()")
        self.browser.move(x, y)
        self.wait(f"Chart.getChart({canvas}).tooltip.opacity > 0")
        return self.value(f"(() => {{ const t = Chart.getChart({canvas}).tooltip;"
                          " return [...t.title, ...t.body.flatMap((part) => part.lines)]; })()")

    def texts(self, selector):
        return self.value(f"[...document.querySelectorAll({json.dumps(selector)})]"
                          ".map((e) => e.textContent)")

    def test_opens_with_the_five_levels(self):
        self.show()
        self.assertEqual(self.texts("#overview .name"),
                         ["Successful connects", "Time to connect", "Coverage", "Steering",
                          "Stability"])
        shares = [f"{100 * level['good'] / level['all']:.1f} %" for level in self.data["levels"]]
        self.assertEqual(self.texts("#overview .value"), shares)
        self.assertEqual(self.texts(".level .value"), shares)

    def test_a_share_is_not_rounded_up_to_a_goal_that_it_misses(self):
        page = os.path.join(self.directory.name, "goals.html")
        shares = [100 * level["good"] / level["all"] for level in self.data["levels"]]
        goals = [round(share, 1) for share in shares]
        report(self.database, page, *(f"--goal={level['key']}={goal}"
                                      for level, goal in zip(self.data["levels"], goals)))
        self.show(page)
        shown = [f"{goal - 0.1 if share < goal else goal:.1f} %"
                 for share, goal in zip(shares, goals)]
        self.assertTrue(any(share < goal for share, goal in zip(shares, goals)))
        self.assertEqual(self.texts("#overview .value"), shown)
        self.assertEqual(self.texts(".level .value"), shown)
        self.assertEqual(self.texts("#changes-table tr td:nth-child(3)")[:len(shown)], shown)

    def test_pointing_at_a_trend_shows_its_values(self):
        self.show()
        good, all_ = self.data["levels"][2]["trend"][3]
        title, share, goal = self.point("#level-coverage", 0, 3)
        self.assertEqual(title.replace(",", " "), self.data["period"]["labels"][3])
        self.assertEqual(share, f"{100 * good / all_:.1f} %: {good:,} of {all_:,}")
        self.assertEqual(goal, "Goal 90 %")

    def test_pointing_at_joins_and_signals_shows_their_values(self):
        self.show()
        good, all_ = self.data["levels"][0]["trend"][1]
        self.assertEqual(self.point("#joins", 0, 1)[1:],
                         [f"connected: {good:,}", f"failed: {all_ - good:,}"])
        strongest = max(self.data["signals"], key=lambda row: row[2])
        froms = sorted({row[1] for row in self.data["signals"]})
        lines = self.point("#signals", 0, froms.index(strongest[1]))
        self.assertIn(f"{strongest[2]:,} events", "\n".join(lines))

    def test_pointing_at_a_visit_shows_where_and_how_long(self):
        self.show()
        visits = [(line, visit) for line in self.data["timelines"] for visit in line["visits"]]
        line, longest = max(visits, key=lambda pair: pair[1][1] - pair[1][0])
        name = longest[2]
        names = sorted({visit[2] for _, visit in visits}, reverse=True)
        place = [visit for _, visit in visits if visit[2] == name].index(longest)
        client, visit = self.point("#timelines", names.index(name), place)
        identifier = self.data["clients"][line["client"]]
        self.assertEqual(client, identifier[:8])
        self.assertTrue(visit.startswith(f"{name}: "), visit)

    def test_pointing_at_a_bar_shows_its_count(self):
        self.show()
        words, name, count = self.data["disconnects"][0][:3]
        self.assertEqual(self.value("document.getElementById('tip').hidden"), True)
        x, y = self.middle("#reasons .track span")
        self.browser.move(x, y)
        self.wait("!document.getElementById('tip').hidden")
        self.assertEqual(self.texts("#tip"), [f"{words}, {name}: {count:,}"])
        self.browser.move(2, 2)
        self.wait("document.getElementById('tip').hidden")

    def test_there_is_a_table_behind_every_chart(self):
        self.show()
        charts = self.value("document.querySelectorAll('canvas').length")
        self.assertEqual(charts, 9)
        self.assertEqual(charts, self.value("document.querySelectorAll('.chart + details table').length"))
        table = "#level-stability .chart + details"
        self.assertFalse(self.value(f"document.querySelector('{table}').open"))
        self.browser.click(*self.middle(f"{table} summary"))
        self.wait(f"document.querySelector('{table}').open")
        rows = self.texts(f"{table} tbody tr")
        self.assertEqual(len(rows), 7)
        good, all_ = self.data["levels"][4]["trend"][0]
        self.assertEqual(rows[0], f"Mon 9{good:,}{all_:,}{100 * good / all_:.1f} %")

    def test_a_tile_leads_to_its_level(self):
        self.show()
        self.browser.click(*self.middle("#overview .tile:nth-child(4)"))
        self.wait("location.hash === '#level-steering'")
        self.wait("Math.abs(document.getElementById('level-steering').getBoundingClientRect().top)"
                  " < 40")

    def test_steers_are_listed(self):
        self.show()
        self.browser.click(*self.middle("#steers-chart > details:last-child summary"))
        self.wait("document.querySelector('#steers-chart > details:last-child').open")
        self.assertEqual(len(self.texts("#steers-chart > details:last-child tbody tr")),
                         len(self.data["steers"]["list"]))

    def test_fits_each_screen_in_light_and_dark(self):
        for width in (PHONE, 768, DESKTOP):
            for is_dark in (False, True):
                with self.subTest(width=width, is_dark=is_dark):
                    self.show(width=width, is_dark=is_dark)
                    self.assertEqual(self.value("document.documentElement.scrollWidth"), width)
                    wide = self.value(
                        "[...document.querySelectorAll('.scroll, .bars, .chart, .facts')]"
                        ".filter((e) => !e.closest('details') && e.scrollWidth > e.clientWidth + 1 && e.clientWidth > 0)"
                        ".map((e) => e.closest('[id]').id)")
                    self.assertEqual(wide, [])
                    if pictures:
                        mode = "dark" if is_dark else "light"
                        self.browser.screenshot(f"{pictures}/report-{width}-{mode}.png")

    def test_text_can_be_read_in_light_and_dark(self):
        grounds = []
        for is_dark in (False, True):
            self.show(is_dark=is_dark)
            colours = self.value(
                "['.level .value.missed', '.quiet', 'th', 'td', 'summary', '.badge.missed',"
                " '.badge.met', '.better, .worse', '.wish'].map((selector) => {"
                " const e = document.querySelector(selector); let ground = e;"
                " while (getComputedStyle(ground).backgroundColor === 'rgba(0, 0, 0, 0)')"
                "   ground = ground.parentElement;"
                " return [selector, getComputedStyle(e).color,"
                "   getComputedStyle(ground).backgroundColor]; })")
            for selector, text, ground in colours:
                self.assertGreater(contrast(text, ground), 4.5, (selector, is_dark))
            grounds.append(colours[0][2])
        self.assertGreater(luminance(grounds[0]), 0.9)
        self.assertLess(luminance(grounds[1]), 0.05)

    def test_prints_in_light_colours(self):
        self.show(is_dark=True)
        self.value("dispatchEvent(new Event('beforeprint'))")
        self.assertGreater(luminance(self.value(
            "getComputedStyle(document.querySelector('.panel')).backgroundColor")), 0.9)
        # Paper is narrow, so each panel and its chart have the full width.
        self.assertEqual(self.value(
            "document.querySelector('#joins-chart').offsetWidth"),
            self.value("document.querySelector('#joins').offsetWidth"))
        self.value("dispatchEvent(new Event('afterprint'))")
        self.assertLess(luminance(self.value(
            "getComputedStyle(document.querySelector('.panel')).backgroundColor")), 0.1)

    def test_text_of_others_is_shown_as_text(self):
        database = os.path.join(self.directory.name, "evil.db")
        page = os.path.join(self.directory.name, "evil.html")
        subprocess.run([play_days, database, "--days", "1", "--clients", "3"],
                       stdout=subprocess.DEVNULL, check=True)
        with sqlite3.connect(database) as connection:
            connection.execute("UPDATE client_events SET interface = ?1, client_shmac = ?1,"
                               " event_reason = ?1 WHERE client_shmac IN"
                               " (SELECT client_shmac FROM client_events LIMIT 1)", (EVIL,))
        connection.close()
        report(database, page)
        self.show(page)
        self.assertIn(EVIL, self.texts("#identifiers code"))
        self.assertIn(EVIL.lower(), " ".join(self.texts("#signals th")))
        self.assertTrue(any(EVIL in words for words in self.texts("#reasons .words")))
        self.assertIsNone(self.value("window.hacked"))
        self.assertEqual(self.value("document.images.length"), 0)

    def test_times_follow_daylight_saving_time(self):
        page = os.path.join(self.directory.name, "spring.html")
        subprocess.run([wavelarkctl, "report", "--since", "2026-03-27", "--until", "2026-04-01",
                        "--database", self.database, "-o", page], stdout=subprocess.DEVNULL,
                       env={**os.environ, "TZ": "CET-1CEST,M3.5.0,M10.5.0/3"}, check=True)
        self.show(page)
        # 11:00 UTC, on the day before the change and on the day after.
        self.assertEqual(self.value(
            "[1774695600000, 1774868400000]"
            ".map((t) => time(t, {hour: '2-digit', minute: '2-digit'}))"), ["12:00", "13:00"])

    def test_an_empty_period_says_so(self):
        page = os.path.join(self.directory.name, "empty.html")
        subprocess.run([wavelarkctl, "report", "--since", "2020-01-01Z", "--until", "2020-01-08Z",
                        "--database", self.database, "-o", page], stdout=subprocess.DEVNULL,
                       check=True)
        self.show(page)
        self.assertTrue(self.texts("#message")[0].startswith(
            "No events are recorded in this period. The database begins on "))
        self.assertEqual(self.value("document.querySelectorAll('canvas').length"), 0)


@unittest.skipUnless(shutil.which("tidy"), "there is no tidy")
class Markup(unittest.TestCase):
    def test_the_checker_finds_no_fault(self):
        with tempfile.TemporaryDirectory() as directory:
            database, page = os.path.join(directory, "records.db"), os.path.join(directory, "r.html")
            subprocess.run([play_days, database, "--days", "2", "--clients", "5"],
                           stdout=subprocess.DEVNULL, check=True)
            report(database, page)
            result = subprocess.run(["tidy", "-quiet", "-errors", "-utf8", page],
                                    stderr=subprocess.PIPE, text=True, check=False)
        # Elements that the script fills are empty.
        faults = [line for line in result.stderr.splitlines() if "trimming empty" not in line]
        self.assertEqual(faults, [])


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    wavelarkctl, play_days = sys.argv[1:3]
    pictures = sys.argv[3] if len(sys.argv) > 3 else None
    if not browser.is_installed():
        print("There is no chromium.")
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1], verbosity=2)
