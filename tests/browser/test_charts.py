# SPDX-License-Identifier: Apache-2.0
"""The charts: their table, their marks and their pixels against the history that the API answers."""

import re

import pytest

from harness.fleet import HUMIDITY, RETURN, SUPPLY

PIXEL = """
  const [section, left, top] = arguments;
  const plot = document.querySelector(`section[aria-labelledby=${section}]`);
  const canvas = plot.querySelector('canvas');
  const over = plot.querySelector('.u-over').getBoundingClientRect();
  const place = canvas.getBoundingClientRect();
  const scale = canvas.width / place.width;
  const x = Math.round((over.left - place.left + left) * scale);
  const y = Math.round((over.top - place.top + top) * scale);
  const near = canvas.getContext('2d').getImageData(x - 1, y - 1, 3, 3).data;
  return Array.from({length: 9}, (_, i) => [...near.slice(4 * i, 4 * i + 4)]);
"""

MARKS = """
  const plot = document.querySelector(`section[aria-labelledby=${arguments[0]}]`);
  const over = plot?.querySelector('.u-over');
  if (!over) return [];
  return [...plot.querySelectorAll('.extreme')].map(one => ({
    end: one.classList.contains('max') ? 'max' : 'min',
    text: one.textContent.replace(/\\s+/g, ' '),
    left: parseFloat(one.style.left), top: parseFloat(one.style.top),
    width: over.clientWidth, height: over.clientHeight,
    colour: getComputedStyle(one).color,
  }));
"""


# How far to the right the line of this colour goes, as a part of the width.
REACH = """
  const [section, wanted] = arguments;
  const plot = document.querySelector(`section[aria-labelledby=${section}]`);
  const canvas = plot.querySelector('canvas');
  const over = plot.querySelector('.u-over').getBoundingClientRect();
  const place = canvas.getBoundingClientRect();
  const scale = canvas.width / place.width;
  const [left, wide] = [(over.left - place.left) * scale, over.width * scale];
  const [top, high] = [(over.top - place.top) * scale, over.height * scale];
  const {data, width} = canvas.getContext('2d').getImageData(left, top, wide, high);
  let reach = 0;
  for (let i = 0; i < data.length; i += 4) {
    const like = data[i + 3] > 100 && wanted.every((part, k) => Math.abs(part - data[i + k]) <= 40);
    if (like) reach = Math.max(reach, i / 4 % width);
  }
  return reach / width;
"""


@pytest.fixture
def hall(seeded):
    return seeded.appliances["Hall 3 north"]


@pytest.fixture
def history(seeded, hall):
    answer = seeded.ask(f"/appliances/{hall.uuid}/history", uri=hall.thermal)
    return {one["pointer"]: one for one in answer["series"]}


@pytest.fixture
def visitor(seeded, browser, hall):
    browser.signs_in(seeded.service.url, f"/appliances/{hall.uuid}")
    browser.until(lambda: len(browser.run(MARKS, "temperature")) == 4, "the marks")
    return browser


def number(value):
    return f"{value:g}"


def colour(text):
    """"rgb(1, 2, 3)" as numbers."""
    return [int(one) for one in text.removeprefix("rgb(").removesuffix(")").split(",")]


def like(pixel, wanted):
    return pixel[3] > 100 and all(abs(one - other) <= 40 for one, other in zip(pixel, wanted))


@pytest.mark.parametrize("section, pointer, unit", [
    ("temperature", SUPPLY, "°C"), ("temperature", RETURN, "°C"), ("humidity", HUMIDITY, "%")],
    ids=["supply", "return", "humidity"])
def test_the_table_tells_samples_and_extremes(visitor, history, section, pointer, unit):
    series = history[pointer]
    row = f"section[aria-labelledby={section}] tr[data-pointer='{pointer}']"
    assert visitor.values(row, "data-samples") == [str(len(series["samples"]))]
    now, lowest, highest = visitor.texts(f"{row} td")
    # A value says when it came.
    assert re.fullmatch(rf"{number(series['samples'][-1][1])} {unit} 8 Mar 2026, 11:3\d:\d\d", now)
    assert lowest.startswith(f"{number(series['min']['value'])} {unit} ")
    assert highest.startswith(f"{number(series['max']['value'])} {unit} ")
    assert series["name"] in visitor.text(f"{row} th")


def test_the_extremes_are_those_of_the_week(history):
    assert (history[SUPPLY]["min"]["value"], history[SUPPLY]["max"]["value"]) == (14.4, 28)


def test_the_appliances_own_extremes_are_told_beside(visitor):
    told = visitor.text("section[aria-labelledby=temperature] .told")
    assert told == "Seven-day extremes as the appliance tells them: lowest 12.5 °C, highest 31 °C"
    told = visitor.text("section[aria-labelledby=humidity] .told")
    assert told.endswith("lowest 40 %, highest 52 %")


def test_marks_stand_at_the_extremes_on_their_line(visitor, history):
    marks = visitor.run(MARKS, "temperature")
    wanted = [(end, f"{number(history[pointer][end]['value'])} °C", history[pointer][end])
              for pointer in (RETURN, SUPPLY) for end in ("max", "min")]
    assert [(one["end"], one["text"]) for one in marks] == [(end, text) for end, text, _ in wanted]
    # Higher values stand higher, later ones further right.
    by_value = sorted(zip(marks, wanted), key=lambda pair: pair[1][2]["value"])
    assert [mark["top"] for mark, _ in by_value] == sorted(
        (mark["top"] for mark in marks), reverse=True)
    by_time = sorted(zip(marks, wanted), key=lambda pair: pair[1][2]["time"])
    assert [mark["left"] for mark, _ in by_time] == sorted(mark["left"] for mark in marks)
    for mark in marks:
        # The line may be a dashed one, with a gap at the mark itself.
        pixels = [pixel for right in range(0, 9, 2) for pixel in visitor.run(
            PIXEL, "temperature", mark["left"] + right, mark["top"])]
        assert any(like(pixel, colour(mark["colour"])) for pixel in pixels), (mark, pixels)


def test_lines_are_drawn_where_the_values_are(visitor, history):
    """Every fifth sample of the humidity is looked for in the picture, in the middle of its step."""
    samples = history[HUMIDITY]["samples"]
    high, low = visitor.run(MARKS, "humidity")
    times = [history[HUMIDITY][end]["time"] for end in ("max", "min")]
    values = [history[HUMIDITY][end]["value"] for end in ("max", "min")]
    right = (low["left"] - high["left"]) / (times[1] - times[0])
    down = (low["top"] - high["top"]) / (values[1] - values[0])
    for (time, value), (following, _) in list(zip(samples, samples[1:]))[::5]:
        left = high["left"] + ((time + following) / 2 - times[0]) * right
        top = high["top"] + (value - values[0]) * down
        if 2 < left < high["width"] - 2:
            pixels = visitor.run(PIXEL, "humidity", left, top)
            assert any(like(pixel, colour(high["colour"])) for pixel in pixels), (time, value)


def test_dark_and_light_draw_in_their_own_colours(visitor):
    light = visitor.run(MARKS, "humidity")[0]
    visitor.prefers(dark=True)

    def dark():
        marks = visitor.run(MARKS, "humidity")
        return marks and marks[0]["colour"] != light["colour"] and marks[0]
    mark = visitor.until(dark, "the dark colours")
    visitor.until(lambda: any(like(pixel, colour(mark["colour"])) for pixel in visitor.run(
        PIXEL, "humidity", mark["left"], mark["top"])), "the line in its dark colour")


def test_the_name_of_the_last_day_is_whole(seeded, visitor):
    # A little after midnight where the reader is, so that the last day begins at the right edge.
    seeded.clock.step(11 * 3600 + 58 * 60)  # shorter than a session lasts
    visitor.goes(visitor.address)
    visitor.sees("section[aria-labelledby=temperature] .extreme")
    visitor.run("""
      const write = CanvasRenderingContext2D.prototype.fillText;
      window.written = [];
      CanvasRenderingContext2D.prototype.fillText = function(text, x, y) {
        const half = this.measureText(text).width / 2;
        written.push([text, x + half, this.canvas.width, this.textAlign, x]);
        write.call(this, text, x, y);
      }""")
    visitor.resize(1100, 900)
    ends = visitor.until(lambda: [one for one in visitor.run("return written")
                                  if one[0] == "9 Mar"], "the name of the last day")
    for _, right, width, align, _ in ends:
        assert align == "center"
        assert width - 60 < right <= width
    # On a narrow screen some days are left out, so that no two overlap.
    visitor.run("written.length = 0")
    visitor.resize(360, 740)
    visitor.until(lambda: visitor.run("return written.length"), "the narrow chart")
    spans = {text: (2 * x - right, right) for text, right, _, _, x in visitor.run(
        "return written.filter(one => / Mar$/.test(one[0]) && one[2] < 360)")}
    ordered = sorted(spans.values())
    assert len(ordered) >= 3
    assert all(one[1] <= other[0] for one, other in zip(ordered, ordered[1:])), spans


def test_any_other_number_can_be_chosen(seeded, visitor, hall):
    others = [one for one in seeded.ask(f"/appliances/{hall.uuid}/numbers")["items"]
              if one["quantity"] is None]
    names = visitor.texts("[aria-labelledby=others] option")
    assert names == ["Choose one"] + [one["name"] for one in others]
    fan = next(one for one in others if one["pointer"] == "/Fans/0/Reading")
    visitor.chooses("[aria-labelledby=others] select", f"{fan['uri']} {fan['member']}")
    row = "section[aria-labelledby=other] tbody tr"
    assert re.match(r"Fan speed 62.5 % 8 Mar 2026, \S+ 62.5 % ", visitor.text(row))


def test_readings_carry_the_names_of_their_documents(seeded, browser):
    pump = seeded.appliances["Pump room"]
    pump.keeps("EnvironmentMetrics", {
        "Name": "Environment", "TemperatureCelsius": {"Reading": 21}, "HumidityPercent": {"Reading": 40},
        "FanSpeedsPercent": [{"DeviceName": "Fan 1", "Reading": 50}], "PowerWatts": {"Reading": 90}})
    pump.keeps("Sensors/Inlet", {"Name": "Inlet", "Reading": 19.5, "ReadingUnits": "Cel"})
    pump.keeps("Sensors/Line", {"Name": "Line", "Reading": 229, "ReadingUnits": "V"})
    browser.signs_in(seeded.service.url, f"/appliances/{pump.uuid}")
    rows = lambda section: [one.partition(" 8 Mar")[0] for one in browser.texts(
        f"section[aria-labelledby={section}] tbody tr")]
    browser.until(lambda: sorted(rows("temperature")) == ["Inlet 19.5 °C", "Temperature 21 °C"],
                  "the temperatures")
    assert rows("humidity") == ["Humidity 40 %"]
    assert browser.texts("[aria-labelledby=others] option") == ["Choose one", "Fan 1", "Line", "Power"]
    for document, member, told in (("EnvironmentMetrics", "PowerWatts/Reading", "Power 90 W"),
                                   ("Sensors/Line", "Reading", "Line 229 V")):
        browser.chooses("[aria-labelledby=others] select", f"{pump.chassis_path}/{document} {member}")
        browser.until(lambda: rows("other") == [told], told)


def test_each_unit_has_a_chart_of_its_own(seeded, browser):
    pump = seeded.appliances["Pump room"]
    pump.keeps("Thermal", {"Temperatures": [{"MemberId": "a", "ReadingCelsius": 20},
                                               {"MemberId": "b", "ReadingFahrenheit": 70}]})
    browser.signs_in(seeded.service.url, f"/appliances/{pump.uuid}")
    for section, unit, row in (("temperature", "°C", "a 20 °C"), ("temperature-2", "°F", "b 70 °F")):
        place = f"section[aria-labelledby={section}]"
        browser.sees(f"{place} .extreme")
        assert browser.text(f"{place} h2") == f"Temperature in {unit}, 7 days"
        (told,) = browser.texts(f"{place} tbody tr")
        assert told.startswith(row)
        assert browser.texts(f"{place} .extreme b") == [row[2:]]


def test_number_that_is_no_longer_sent_stays_to_be_read(seeded, browser):
    pump = seeded.appliances["Pump room"]
    pump.keeps("Thermal", {"Temperatures": [{"MemberId": "a", "ReadingCelsius": 20}], "Speed": 7})
    pump.keeps("Thermal", {"Temperatures": [{"MemberId": "b", "ReadingCelsius": 21}],
                              "Speed": None})
    browser.signs_in(seeded.service.url, f"/appliances/{pump.uuid}")
    place = "section[aria-labelledby=temperature]"
    browser.sees(f"{place} .extreme")
    gone, now = browser.texts(f"{place} tbody tr")
    assert re.match(r"a No longer sent None last 20 °C, 8 Mar 2026, \S+ 20 °C ", gone)
    assert re.match(r"b 21 °C 8 Mar 2026, \S+ 21 °C ", now)
    assert "Speed (no longer sent)" in browser.texts("[aria-labelledby=others] option")
    browser.chooses("[aria-labelledby=others] select", f"{pump.thermal} Speed")
    row = "section[aria-labelledby=other] tbody tr"
    browser.sees(row)
    assert re.match(r"Speed No longer sent None last 7, 8 Mar 2026, \S+ 7 ", browser.text(row))


def test_extremes_of_several_documents_are_told_with_their_names(seeded, visitor, hall):
    first = hall.thermal
    hall.keeps("ThermalBackup", {"Name": "Spare sensors", "ReadingCelsius": 1,
                                  "LowestTemperature": 3, "HighestTemperature": 41})
    hall.has_unit("Second unit")
    hall.keeps("Thermal", {"Name": "Thermal", "ReadingCelsius": 1, "LowestTemperature": 7})
    visitor.goes(f"/appliances/{hall.uuid}")
    place = "section[aria-labelledby=temperature] .told"
    visitor.sees(place)
    assert sorted(visitor.texts(f"{place} li")) == sorted([
        f"Thermal ({first}): lowest 12.5 °C, highest 31 °C",
        "Spare sensors: lowest 3 °C, highest 41 °C",
        f"Thermal ({hall.thermal}): lowest 7 °C"])
    assert visitor.text("section[aria-labelledby=humidity] .told").endswith(
        "tells them: lowest 40 %, highest 52 %")


def test_the_line_of_a_silent_appliance_ends_at_its_last_heartbeat(seeded, browser, hall):
    seeded.clock.step(2 * 24 * 3600)
    browser.signs_in(seeded.service.url, f"/appliances/{hall.uuid}")
    place = "section[aria-labelledby=temperature]"
    marks = browser.until(lambda: browser.run(MARKS, "temperature"), "the marks")
    assert browser.texts(f"{place} thead th")[1] == "Last"
    assert browser.texts(f"{place} .current") == ["34 °C", "20.5 °C"]
    for mark in marks:
        assert browser.run(REACH, "temperature", colour(mark["colour"])) == pytest.approx(
            5 / 7, abs=0.01)
    # It is heard again.
    hall.beats()
    browser.sees_text("Now", f"{place} thead")


def test_a_number_that_goes_stays_in_its_chart_as_it_was_known(seeded, browser):
    pump = seeded.appliances["Pump room"]
    sensors = [{"MemberId": str(number), "Name": f"Probe {number}", "Reading": 20 + number,
                "ReadingUnits": "Cel"} for number in (10, 2)]
    pump.keeps("Thermal", {"Temperatures": sensors})
    browser.signs_in(seeded.service.url, f"/appliances/{pump.uuid}")
    place = "section[aria-labelledby=temperature]"
    # Names stand in the order in which people count.
    browser.until(lambda: browser.texts(f"{place} tbody th") == ["Probe 2", "Probe 10"], "the rows")
    browser.sees_text("Live", ".link")
    pump.keeps("Thermal", {"Temperatures": sensors[:1]})
    browser.until(lambda: browser.texts(f"{place} tbody th")
                  == ["Probe 2 No longer sent", "Probe 10"], "the rows as before")
    assert browser.find("section[aria-labelledby=temperature-2]") == []
    gone, now = browser.texts(f"{place} tbody tr")
    assert re.match(r"Probe 2 No longer sent None last 22 °C, .* 22 °C .* 22 °C ", gone)
    assert now.startswith("Probe 10 30 °C ")
    assert browser.texts(f"{place} .extreme b") == ["22 °C", "30 °C"]
    # The tab keeps it when the page is loaded anew.
    browser.goes(browser.address)
    browser.until(lambda: browser.texts(f"{place} tbody th")
                  == ["Probe 2 No longer sent", "Probe 10"], "the rows of the page loaded anew")


@pytest.fixture
def crowd(seeded, browser):
    """A browser that shows fourteen temperatures."""
    pump = seeded.appliances["Pump room"]
    pump.keeps("Thermal", {"Temperatures": [
        {"MemberId": str(number), "Name": f"Probe {number}", "ReadingCelsius": 20 + number * 5 % 14}
        for number in range(1, 15)]})
    browser.signs_in(seeded.service.url, f"/appliances/{pump.uuid}")
    browser.sees(f"{CROWD} .extreme")
    return browser


CROWD = "section[aria-labelledby=temperature]"


def lines_on(browser):
    return browser.run("return [...document.querySelectorAll(`${arguments[0]} tbody tr`)].filter("
                       "row => row.querySelector('input').checked).map("
                       "row => row.querySelector('label').textContent)", CROWD)


def test_of_many_lines_the_outermost_are_shown_until_others_are_chosen(crowd):
    # 20 + n * 5 % 14: the lowest are 14, 3, 6; the highest 11, 8, 5.
    assert lines_on(crowd) == [f"Probe {number}" for number in (3, 5, 6, 8, 11, 14)]
    crowd.sees_text("8 of 14 lines are hidden.", ".lines")
    assert len(crowd.run(MARKS, "temperature")) == 6
    # No two lines look the same.
    assert len(set(crowd.run("return [...document.querySelectorAll(`${arguments[0]} .swatch`)].map("
                             "one => one.innerHTML)", CROWD))) == 14
    crowd.run(f"document.querySelector('{CROWD} tbody input').focus()")
    crowd.presses(" ")
    crowd.sees_text("7 of 14 lines are hidden.", ".lines")
    assert "Probe 1" in lines_on(crowd)
    assert len(crowd.run(MARKS, "temperature")) == 7
    crowd.clicks(f"{CROWD} tbody tr:nth-child(4) .only")
    crowd.until(lambda: lines_on(crowd) == ["Probe 4"], "one line")
    assert [one["text"] for one in crowd.run(MARKS, "temperature")] == ["26 °C"]
    crowd.clicks(f"{CROWD} .lines button")
    crowd.sees_text("All 14 lines are shown.", ".lines")
    assert len(crowd.run(MARKS, "temperature")) == 14


def test_many_readings_are_sorted_by_each_column(crowd):
    names = [f"Probe {number}" for number in range(1, 15)]
    by_value = sorted(names, key=lambda name: int(name[6:]) * 5 % 14)
    headings = [f"{CROWD} thead th:nth-child({column})" for column in (1, 2, 3, 4)]
    assert crowd.values(f"{CROWD} thead th", "aria-sort") == ["ascending", None, None, None]
    assert crowd.texts(f"{CROWD} tbody label") == names
    for heading, order in zip(headings, (names, by_value, by_value, by_value)):
        seen = set()
        for _ in range(2):
            crowd.clicks(f"{heading} button")
            (way,) = crowd.values(heading, "aria-sort")
            seen.add(way)
            assert crowd.texts(f"{CROWD} tbody label") == (
                order if way == "ascending" else order[::-1])
        assert seen == {"ascending", "descending"}
