#!/usr/bin/env python3
"""Opens the sandbox's page in a real browser.

usage: page_test.py FOLDER_OF_THE_PROGRAMS

Exits with 77 where no browser is installed, unless ZOR_NEED_BROWSER is set.
"""
import json
import os
import sys

import browser
from browser import WORDS, post, signed_body

HOSTILE = "<img src=x onerror=\"window.broken=1\"><script>window.broken=1</script>'\"&amp;\u202e"


def shows_each_exchange_as_it_comes(sandbox, page):
    page.open(sandbox.page)
    page.until("document.querySelector('.empty h2').textContent === 'Nothing has come in yet'")
    page.until("document.querySelector('#live').textContent === 'Live'")
    assert sandbox.client("fingerprint") == 0
    page.until("[...document.querySelectorAll('.list .route')].some(r => r.textContent === 'name')")


def walks_by_keyboard(sandbox, page):
    page.run("document.querySelector('.list a').focus()")
    page.key("ArrowDown")
    page.key("ArrowUp")
    page.until("document.activeElement === document.querySelector('.list a')")
    page.key("Enter")
    page.until("document.querySelector('.detail h2')")
    page.key("Escape")
    page.until("!document.querySelector('.detail') && document.activeElement.closest('.list')")
    page.key("/")
    page.until("document.activeElement.type === 'search'")
    page.write("no such words")
    page.until("document.querySelector('.empty h2').textContent === 'Nothing fits the filter'")
    page.run("document.querySelector('nav a').focus()")
    for _ in range(4):
        page.key("Tab")
    page.key("Enter")
    page.until("document.querySelector('h1').textContent === 'Faults'")


def unmasks_the_identity_when_asked(sandbox, page):
    page.open(sandbox.page + "#/exchanges")
    page.until("document.querySelector('.list .route a')")
    page.run("""[...document.querySelectorAll('.list .route a')]
        .find(a => a.textContent === 'name').click()""")
    page.until("document.querySelector('.detail section .quiet')")
    masked = page.run("document.querySelector('.detail').innerText")
    assert "\u2022\u2022\u2022" in masked, masked
    page.run("document.querySelector('.detail section button[aria-pressed]').click()")
    page.until("document.querySelector('.detail').innerText.indexOf('\\u2022\\u2022\\u2022') < 0")


def sets_and_clears_a_fault_by_a_click(sandbox, page):
    page.open(sandbox.page + "#/faults")
    page.until("document.querySelector('.quick button')")
    page.run("document.querySelector('[aria-label=\"Status 500 on name\"]').click()")
    page.until("document.querySelector('.chip').textContent.startsWith('name=status:500')")
    page.until("document.querySelector('#fault-count').textContent === '1'")
    sandbox.client("cache", "clear")
    assert sandbox.client("fingerprint") == 0
    page.run("document.querySelector('.chip button').click()")
    page.until("!document.querySelector('.chip')")
    page.run("location.hash = '#/calls'")
    page.until("document.querySelector('.call h2').textContent.includes('HTTPDNS address')")
    page.until("document.querySelectorAll('.call')[0].querySelectorAll('li').length >= 4")


def compares_the_reports_of_a_device(sandbox, page):
    page.open(sandbox.page + "#/devices")
    page.until("document.querySelector('.devices a')")
    page.run("document.querySelector('.devices a').click()")
    page.until("document.querySelectorAll('.reports tbody tr').length >= 2")
    page.until("document.querySelector('.changes, .detail section .note')")


def shows_hostile_reports_as_text(sandbox, page):
    post(sandbox, "/security/dfp/sign_json",
         signed_body({"hostBundleId": HOSTILE, HOSTILE: HOSTILE, "usbDeviceList": [HOSTILE]}),
         {"User-Agent": "<b onclick=broken()>"})
    post(sandbox, "/security/dfp/sign_json?" + "%3Cscript%3E", HOSTILE.encode())
    records = [dict.fromkeys(
        ("pbLibraryName", "pbLibraryVersion", "pbSystemName", "pbApplicationId",
         "pbApplicationVersion", "pbFingerprint", "pbErrorType", "pbErrorDescription"), HOSTILE)]
    records[0]["pbErrorClass"] = 1
    post(sandbox, "/" + WORDS["kPingbackURL"].split("/", 3)[3],
         (WORDS["kPingbackBodyPrefix"] + json.dumps(records)).encode())
    page.open(sandbox.page + "#/records")
    page.until("document.querySelector('.plain td.words').textContent.startsWith('<img')")
    page.run("location.hash = '#/exchanges'")
    page.until("document.querySelectorAll('.list tbody tr').length > 3")
    for number in range(3):
        page.run(f"document.querySelectorAll('.list .route a')[{number}].click()")
        page.until("document.querySelector('.detail h2')")
    page.run("location.hash = '#/devices'")
    page.until("[...document.querySelectorAll('.devices .who')]"
               ".some(e => e.textContent.startsWith('<img'))")
    assert page.run("window.broken") is None
    assert page.run("document.querySelectorAll('main img, main script').length") == 0
    # The policy holds even if the page's own code were at fault.
    assert page.run("""(() => { const e = document.createElement('script');
        try { e.textContent = 'window.broken = 1'; } catch { return 'refused'; }
        document.body.append(e); return window.broken ?? 'refused'; })()""") == "refused"


def fits_a_narrow_window(_, page):
    for width in (320, 480, 900, 1440):
        for view in ("exchanges", "calls", "devices", "records", "faults"):
            page.look(width, 800)
            page.run(f"location.hash = '#/{view}'")
            page.until(f"document.querySelector('main').dataset.view === '{view}'")
            beyond = page.run("document.documentElement.scrollWidth - innerWidth")
            assert beyond <= 0, f"{view} is {beyond} pixels too wide at {width}"


def main():
    if browser.program() is None:
        print("no browser is installed")
        return 1 if os.environ.get("ZOR_NEED_BROWSER") else 77
    with browser.Sandbox(sys.argv[1]) as sandbox, browser.Browser() as page:
        page.look(1280, 800)
        for test in (shows_each_exchange_as_it_comes, walks_by_keyboard,
                     unmasks_the_identity_when_asked, sets_and_clears_a_fault_by_a_click,
                     compares_the_reports_of_a_device, shows_hostile_reports_as_text,
                     fits_a_narrow_window):
            page.events.clear()
            test(sandbox, page)
            page.run("1")
            wrong = [event for event in page.events
                     if event.get("method") == "Runtime.exceptionThrown"]
            assert not wrong, wrong
            print("passed:", test.__name__.replace("_", " "), flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
