# SPDX-License-Identifier: Apache-2.0
"""The list of appliances: compared with what the operator API answers to a script."""

import urllib.parse

import pytest

SORTS = ("-name", "state", "-state", "alarms", "-alarms", "lastHeartbeat", "-lastHeartbeat",
         "registered", "-registered", "name")


def rows(browser):
    """Each row as (state, name, model, open alarms, firmware, address)."""
    found = browser.run("""
      return [...document.querySelectorAll('table.fleet tbody tr')].map(row => {
        const words = one => (one?.textContent ?? '').replace(/\\s+/g, ' ').trim();
        const cell = i => words(row.cells[i]);
        const badges = [...row.querySelectorAll('.badge')].map(words);
        return [cell(0), words(row.querySelector('.whole')), words(row.querySelector('.under')),
                badges.join(', '), cell(4), cell(5)];
      })""")
    return [tuple(row) for row in found]


def expected(appliance):
    counts = appliance["alarms"]
    alarms = ", ".join(f"{severity} {counts[severity]}" for severity in ("Fault", "Alarm", "Warning")
                       if counts[severity])
    return (appliance["state"].capitalize(), appliance["name"], appliance["model"], alarms,
            "Firmware" + appliance["firmware"], "Address" + appliance["address"])


def shows(browser, answer):
    """The page has come to show these appliances in this order."""
    wanted = [expected(one) for one in answer["items"]]
    try:
        browser.until(lambda: rows(browser) == wanted, f"the rows {[row[1] for row in wanted]}")
    except AssertionError:
        assert rows(browser) == wanted  # says which differs
        raise


def test_rows_and_counts_are_those_of_the_service(seeded, reader):
    answer = seeded.ask("/appliances", sort="-alarms")
    assert [one["state"] for one in answer["items"]].count("alive") == 6
    shows(reader, answer)
    for name, count in {**answer["counts"], **answer["alarms"]}.items():
        assert reader.text(f"[data-count={name}] .tile-count") == str(count), name
    assert answer["counts"] == {"alive": 6, "late": 1, "offline": 1}
    assert answer["alarms"] == {"Fault": 1, "Alarm": 2, "Warning": 2}
    assert reader.text("#found") == "8 appliances"
    assert reader.title == "(3) Fleet"


def test_the_age_of_a_heartbeat_is_the_service_clocks(seeded, reader):
    row = f"tr[data-uuid='{seeded.appliances['Roof unit west'].uuid}']"
    assert reader.text(f"{row} time") == "2 d 6 h ago"
    heard = seeded.ask("/appliances", q="Roof unit west")["items"][0]["lastHeartbeat"]
    assert reader.values(f"{row} time", "datetime") == [heard] * 2
    # Midnight in UTC, where the reader is.
    assert reader.values(f"{row} time", "title")[0].startswith("Friday, 6 March 2026 at 05:30:")
    assert reader.texts(f"{row} .wider")[0].startswith("6 Mar 2026, 05:30:")


def test_every_order_is_the_services(seeded, reader):
    assert sorted(reader.values(".order option", "value")) == sorted(SORTS)
    for sort in SORTS:
        reader.chooses(".order select", sort)
        shows(reader, seeded.ask("/appliances", sort=sort))
        assert reader.address == f"/?sort={sort}"


def test_headings_sort_and_turn_the_order_round(seeded, reader):
    # The worst come first where the address says nothing else.
    heading = ".fleet thead th:nth-child(3)"
    assert reader.values(heading, "aria-sort") == ["descending"]
    reader.clicks(f"{heading} button")
    shows(reader, seeded.ask("/appliances", sort="alarms"))
    assert reader.values(heading, "aria-sort") == ["ascending"]
    assert reader.address == "/?sort=alarms"
    heading = ".fleet thead th:nth-child(2)"
    reader.clicks(f"{heading} button")
    shows(reader, seeded.ask("/appliances", sort="name"))
    assert reader.values(heading, "aria-sort") == ["ascending"]
    reader.clicks(f"{heading} button")
    shows(reader, seeded.ask("/appliances", sort="-name"))
    assert reader.values(heading, "aria-sort") == ["descending"]


def test_a_count_filters_and_is_let_go_again(seeded, reader):
    for name, value in (("state", "late"), ("state", "offline"), ("state", "alive"),
                        ("severity", "Fault"), ("severity", "Alarm"), ("severity", "Warning")):
        reader.clicks(f"[data-count={value}]")
        answer = seeded.ask("/appliances", sort="-alarms", **{name: value})
        assert 0 < answer["total"] < 8
        shows(reader, answer)
        assert reader.address == f"/?{name}={value}"
        assert reader.values(f"[data-count={value}]", "aria-pressed") == ["true"]
        reader.clicks(f"[data-count={value}]")
        shows(reader, seeded.ask("/appliances", sort="-alarms"))
        assert reader.address == "/"


@pytest.mark.parametrize("text", ["room", "BOARD 5", "2.9.11", "50% + \"x\" & <y>"],
                         ids=["word", "capitals", "version", "signs"])
def test_a_search_is_the_services_and_stays_in_the_address(seeded, reader, text):
    reader.types("input[type=search]", text)
    answer = seeded.ask("/appliances", q=text, sort="-alarms")
    if answer["total"]:
        shows(reader, answer)
    else:
        reader.sees_text("No appliance fits")
    reader.until(lambda: urllib.parse.urlsplit(reader.address).query, "a query in the address")
    query = urllib.parse.parse_qs(urllib.parse.urlsplit(reader.address).query)
    assert query == {"q": [text]}
    reader.goes(reader.address)
    reader.until(lambda: reader.values("input[type=search]", "value") or True, "the field")
    if answer["total"]:
        shows(reader, answer)


def test_filters_add_up_and_the_arrows_of_the_browser_go_back(seeded, reader):
    reader.clicks("[data-count=alive]")
    reader.clicks("[data-count=Warning]")
    shows(reader, seeded.ask("/appliances", sort="-alarms", state="alive", severity="Warning"))
    assert reader.text("#found") == "2 appliances found"
    reader.goes_back()
    shows(reader, seeded.ask("/appliances", sort="-alarms", state="alive"))
    reader.clicks(".tools button.quiet")
    shows(reader, seeded.ask("/appliances", sort="-alarms"))


def test_the_list_keeps_its_head_and_its_density_and_uses_the_screen(seeded, reader):
    row = "return document.querySelector('.fleet tbody tr').clientHeight"
    roomy = reader.run(row)
    assert reader.values(".dense-switch", "aria-pressed") == ["false"]
    reader.clicks(".dense-switch")
    reader.until(lambda: reader.run(row) < roomy * 0.7, "dense rows")
    reader.goes("/")
    reader.sees("table.fleet")
    assert reader.values(".dense-switch", "aria-pressed") == ["true"]
    assert reader.run(row) < roomy * 0.7
    reader.clicks(".dense-switch")
    reader.resize(1280, 400)
    reader.run("scrollTo(0, 400)")
    top = ("const [head, bar] = ['.fleet thead th', '.top'].map("
           "css => document.querySelector(css).getBoundingClientRect());"
           "return [scrollY > 300, Math.abs(head.top - bar.bottom) <= 2]")
    reader.until(lambda: reader.run(top) == [True, True], "the head below the bar")
    # A wide screen is used, and on a narrow one badges stand side by side.
    reader.resize(1920, 900)
    assert reader.run("return document.querySelector('.list').clientWidth") > 1700
    reader.resize(1000, 900)
    rows_of_badges = reader.run("return [...document.querySelectorAll('.badges')].map("
                                "one => new Set([...one.children].map(one => one.offsetTop)).size)")
    assert set(rows_of_badges) == {1}


def test_the_search_says_where_it_looks(seeded, reader):
    hint = "#searched"
    assert not reader.find(hint)[0].is_displayed()
    reader.presses("/")
    assert reader.text(hint) == ("Looks in name, UUID, model, serial number, firmware, address, "
                                 "account")
    assert reader.values("[type=search]", "aria-describedby") == [hint[1:]]
    one = seeded.ask("/appliances", q="hall")["items"][0]
    for name in ("name", "uuid", "model", "serial", "firmware", "address", "account"):
        assert one["uuid"] in [found["uuid"] for found in
                               seeded.ask("/appliances", q=one[name])["items"]], name


def test_a_fleet_without_appliances_says_how_to_connect_the_first(fleet, browser):
    browser.signs_in(fleet.service.url)
    browser.sees_text("No appliance has registered yet")
    assert browser.texts(".tile-count") == ["0"] * 6
    browser.sees(".first pre")
    account, *others = browser.texts(".first pre")
    told = fleet.ask("/session")["command"]
    assert account == f"{told} account add you@example.org"
    assert others == ["cloudclientctl device init --help",
                      f"cloudclientctl setup --url {fleet.service.url}"]
    fleet.joins("Unit 1")
    browser.sees("table.fleet")
    browser.misses(".first")


def test_more_than_a_page_is_turned_like_pages(fleet, browser):
    for number in range(101):
        fleet.joins(f"Unit {number:03}")
    browser.signs_in(fleet.service.url)
    browser.sees_text("1 to 100 of 101", ".pages")
    assert len(rows(browser)) == 100
    browser.clicks(".pages a")
    browser.until(lambda: [row[1] for row in rows(browser)] == ["Unit 100"], "the second page")
    assert browser.address == "/?offset=100"
    browser.clicks(".pages a")
    browser.until(lambda: len(rows(browser)) == 100, "the first page")


def test_who_asks_for_more_than_there_is_sees_the_last_page(seeded, reader):
    for number in range(100):
        seeded.joins(f"Unit {number:03}")
    last = seeded.ask("/appliances", sort="-name", limit=100, offset=100)
    assert len(last["items"]) == 8
    reader.goes("/?sort=-name&offset=4000")
    shows(reader, last)
    assert reader.address == "/?sort=-name&offset=100"
    reader.goes("/?q=roof&offset=100")
    shows(reader, seeded.ask("/appliances", q="roof"))
    assert reader.address == "/?q=roof"
    reader.goes("/?q=nobody-at-all&offset=100")
    reader.sees_text("No appliance fits")


def test_who_comes_back_to_the_fleet_finds_it_as_it_was(fleet, browser):
    for number in range(40):
        fleet.joins(f"Unit {number:03}")
    browser.signs_in(fleet.service.url, "/?q=unit&sort=-name")
    browser.until(lambda: len(rows(browser)) == 40, "the rows")
    place = "return Math.round(scrollY)"

    def comes_back(how):
        browser.run("scrollTo(0, 900)")
        browser.clicks("tr:nth-child(20) .whole")
        browser.sees("h1:not(.hidden)")
        browser.until(lambda: browser.run(place) == 0, "the top of the appliance")
        how()
        browser.until(lambda: len(rows(browser)) == 40, "the rows again")
        browser.until(lambda: browser.run(place) == 900, "the place in the list")
        assert browser.address == "/?q=unit&sort=-name"
        assert browser.run("return document.querySelector('[type=search]').value") == "unit"

    comes_back(browser.goes_back)
    comes_back(lambda: browser.clicks(".back"))
    comes_back(lambda: browser.clicks(".home"))
    # In the fleet it leads to all of it.
    browser.clicks(".home")
    browser.until(lambda: browser.address == "/", "the whole fleet")
