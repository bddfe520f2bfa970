# SPDX-License-Identifier: Apache-2.0
"""Views over all appliances, and the way to them."""

MOVE = """
  history.pushState(null, '', arguments[0]);
  dispatchEvent(new PopStateEvent('popstate', {state: null}));
"""


def moves(browser, address):
    """Goes to an address of the page as its links do, without loading the page anew."""
    browser.run(MOVE, address)
    browser.until(lambda: browser.address == address, address)


def alarm_ids(browser):
    return browser.values("[data-alarm]", "data-alarm")


def shows_alarms(browser, answer):
    """The page has come to show these alarms in this order."""
    wanted = [one["id"] for one in answer["items"]]
    browser.until(lambda: not browser.find(".old") and alarm_ids(browser) == wanted,
                  f"the alarms {wanted}")


def has_silences(fleet, count):
    """The service has found out who is silent."""
    fleet.service.wait_until(
        lambda: len(fleet.ask("/alarms", kind="silence")["items"]) == count, f"{count} silences")
