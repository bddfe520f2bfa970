# SPDX-License-Identifier: Apache-2.0
"""The charts: their table, their marks and their pixels against the history that the API answers."""

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
    assert now == f"{number(series['samples'][-1][1])} {unit}"
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
              for pointer in (SUPPLY, RETURN) for end in ("max", "min")]
    assert [(one["end"], one["text"]) for one in marks] == [(end, text) for end, text, _ in wanted]
    # Higher values stand higher, later ones further right.
    by_value = sorted(zip(marks, wanted), key=lambda pair: pair[1][2]["value"])
    assert [mark["top"] for mark, _ in by_value] == sorted(
        (mark["top"] for mark in marks), reverse=True)
    by_time = sorted(zip(marks, wanted), key=lambda pair: pair[1][2]["time"])
    assert [mark["left"] for mark, _ in by_time] == sorted(mark["left"] for mark in marks)
    for mark in marks:
        pixels = visitor.run(PIXEL, "temperature", mark["left"], mark["top"])
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


def test_any_other_number_can_be_chosen(seeded, visitor, hall):
    others = [one for one in seeded.ask(f"/appliances/{hall.uuid}/numbers")["items"]
              if one["quantity"] is None]
    names = visitor.texts("[aria-labelledby=others] option")
    assert names == ["Choose one"] + [one["name"] for one in others]
    fan = next(one for one in others if one["pointer"] == "/Fans/0/Reading")
    visitor.chooses("[aria-labelledby=others] select", f"{fan['uri']} {fan['member']}")
    row = "section[aria-labelledby=other] tbody tr"
    assert visitor.text(row).startswith("Fan speed 62.5 % 62.5 % ")


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
    now, gone = browser.texts(f"{place} tbody tr")
    assert now.startswith("b 21 °C 21 °C ")
    assert gone.startswith("a No longer sent None 20 °C ")
    assert "Speed (no longer sent)" in browser.texts("[aria-labelledby=others] option")
    browser.chooses("[aria-labelledby=others] select", f"{pump.thermal} Speed")
    row = "section[aria-labelledby=other] tbody tr"
    browser.sees(row)
    assert browser.text(row).startswith("Speed No longer sent None 7 ")


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
