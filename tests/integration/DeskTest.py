#!/usr/bin/env python3
"""The page of `quindal desk`, over the example book: its door by plain HTTP, its views in Chromium without a screen.

    DeskTest.py QUINDAL SOURCE [--pictures DIR]

Each figure that the page shows is compared with what the command line prints for the same book. --pictures writes what the
views look like, light and dark.
"""

from __future__ import annotations

import csv
import http.client
import io
import json
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from collections.abc import Callable
from contextlib import closing
from pathlib import Path
from urllib.parse import parse_qs, urlsplit

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

QUINDAL = sys.argv[1]
EXAMPLES = Path(sys.argv[2]) / "examples"
PICTURES = Path(sys.argv[4]) if len(sys.argv) > 4 else None
BOOK = ["--instruments", str(EXAMPLES / "market.xml"), "--accounts", str(EXAMPLES / "accounts.csv"),
        "--positions", str(EXAMPLES / "positions.csv")]
PATIENCE = 15.0  # seconds until the page shows what it is asked for


def printed(*words: str) -> str:
    return subprocess.run([QUINDAL, *words], check=True, capture_output=True, text=True).stdout


def grouped(cents: str) -> str:
    """1234567.50 as the page has it: 1 234 567.50"""
    return f"{float(cents):,.2f}".replace(",", " ")


class Desk:
    """A desk that runs, and the address that it has printed."""

    def __init__(self, *further: str) -> None:
        self.process = subprocess.Popen([QUINDAL, "desk", *BOOK, *further], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        assert self.process.stdout
        self.address = self.process.stdout.readline().split()[-1]
        parts = urlsplit(self.address)
        assert parts.port
        self.port = parts.port
        self.token = parse_qs(parts.query)["token"][0]

    def end(self, number: int = signal.SIGTERM) -> tuple[int, str]:
        self.process.send_signal(number)
        _, errors = self.process.communicate(timeout=20)
        return self.process.returncode, errors

    def answer(self, method: str, path: str, body: str | None = None, **headers: str) -> tuple[int, dict[str, str], str]:
        named = {name.replace("_", "-"): value for name, value in headers.items()}
        with closing(http.client.HTTPConnection("127.0.0.1", self.port, timeout=20)) as connection:
            connection.request(method, path, body, named)
            response = connection.getresponse()
            return response.status, dict(response.getheaders()), response.read().decode()

    def ask(self, name: str, /, **request: object) -> tuple[int, dict[str, str], str]:
        return self.answer("POST", f"/api/{name}", json.dumps(request), X_Quindal_Token=self.token)

    def wait(self) -> None:
        ends = time.monotonic() + PATIENCE
        while not json.loads(self.ask("state")[2])["loaded"]:
            assert time.monotonic() < ends
            time.sleep(0.02)


class TheDoor(unittest.TestCase):
    desk: Desk

    @classmethod
    def setUpClass(cls) -> None:
        cls.desk = Desk()
        cls.desk.wait()

    @classmethod
    def tearDownClass(cls) -> None:
        cls.desk.end()

    def test_nothing_is_answered_without_the_token(self) -> None:
        wrong = "0" * 64
        for method, path in (("GET", "/"), ("GET", "/?token="), ("GET", f"/?token={wrong}"), ("GET", f"/page/{wrong}/desk.js"),
                             ("POST", "/api/book"), ("POST", "/api/state"), ("POST", "/api/nothing")):
            for headers in ({}, {"X_Quindal_Token": wrong}, {"Cookie": f"token={self.desk.token}"}):
                with self.subTest(method=method, path=path, headers=headers):
                    status, _, text = self.desk.answer(method, path, "{}" if method == "POST" else None, **headers)
                    self.assertEqual((status, text), (401, "open the address that quindal desk has printed\n"))

    def test_the_token_is_64_digits_and_made_for_each_run(self) -> None:
        self.assertRegex(self.desk.token, "^[0-9a-f]{64}$")
        other = Desk()
        other.end()
        self.assertNotEqual(other.token, self.desk.token)

    def test_other_origins_and_other_hosts_are_refused(self) -> None:
        ours = f"127.0.0.1:{self.desk.port}"
        for headers in ({"Origin": "http://example.com"}, {"Origin": "null"}, {"Origin": f"https://{ours}"},
                        {"Origin": "http://127.0.0.1:1"}, {"Host": "example.com"}, {"Host": f"example.com:{self.desk.port}"},
                        {"Host": "127.0.0.1"}):
            with self.subTest(headers=headers):
                status, _, text = self.desk.answer("POST", "/api/book", "{}", X_Quindal_Token=self.desk.token, **headers)
                self.assertEqual(status, 403, text)
        for headers in ({"Origin": f"http://{ours}"}, {"Host": f"localhost:{self.desk.port}"}):
            status, _, _ = self.desk.answer("POST", "/api/book", "{}", X_Quindal_Token=self.desk.token, **headers)
            self.assertEqual(status, 200)

    def test_a_page_of_another_origin_may_not_ask_whether_it_may(self) -> None:
        status, headers, _ = self.desk.answer("OPTIONS", "/api/book", Origin="http://example.com",
                                              Access_Control_Request_Method="POST")
        self.assertEqual(status, 403)
        self.assertFalse([name for name in headers if name.lower().startswith("access-control")])

    def test_answers_are_kept_by_nobody_and_load_nothing_from_elsewhere(self) -> None:
        for answer in (self.desk.answer("GET", f"/?token={self.desk.token}"), self.desk.ask("book"), self.desk.answer("GET", "/")):
            headers = answer[1]
            self.assertIn("default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'",
                          headers["Content-Security-Policy"])
            self.assertIn("frame-ancestors 'none'", headers["Content-Security-Policy"])
            self.assertEqual(headers["X-Content-Type-Options"], "nosniff")
            self.assertEqual(headers["Referrer-Policy"], "no-referrer")
            self.assertEqual(headers["Cache-Control"], "no-store")

    def test_other_addresses_of_this_machine_are_not_listened_on(self) -> None:
        listening = Path("/proc/net/tcp").read_text() + Path("/proc/net/tcp6").read_text()
        port = f":{self.desk.port:04X}"
        addresses = {line.split()[1] for line in listening.splitlines() if line.split()[1].endswith(port) and line.split()[3] == "0A"}
        self.assertEqual(addresses, {"0100007F" + port})

    def test_an_answer_says_how_long_it_took(self) -> None:
        self.assertRegex(self.desk.ask("book")[1]["Server-Timing"], r"^answer;dur=\d+\.\d{3}$")

    def test_what_is_too_large_is_not_read(self) -> None:
        with closing(http.client.HTTPConnection("127.0.0.1", self.desk.port, timeout=20)) as connection:
            connection.putrequest("POST", "/api/book")
            connection.putheader("X-Quindal-Token", self.desk.token)
            connection.putheader("Content-Length", str(1 << 32))
            connection.endheaders()
            self.assertEqual(connection.getresponse().status, 413)


class TheEnd(unittest.TestCase):
    def test_a_signal_ends_it_as_that_signal_and_it_says_how_long_answers_took(self) -> None:
        for number in (signal.SIGINT, signal.SIGTERM):
            desk = Desk()
            desk.wait()
            desk.ask("client", client="CL01001")
            status, errors = desk.end(number)
            self.assertEqual(status, -number)
            self.assertRegex(errors, r"client: answered 1 times, median \d+\.\d\d ms")

    def test_a_port_that_is_taken_is_refused(self) -> None:
        desk = Desk()
        try:
            second = subprocess.run([QUINDAL, "desk", *BOOK, "--port", str(desk.port)], capture_output=True, text=True, check=False)
            self.assertEqual(second.returncode, 1)
            self.assertEqual(second.stderr, f"quindal: --port: {desk.port} cannot be had: is it taken?\n")
        finally:
            desk.end()

    def test_a_bad_book_ends_it_before_an_address_is_printed(self) -> None:
        with tempfile.NamedTemporaryFile("w", suffix=".csv") as bad:
            bad.write("code,instrument,quantity\nCL01001,NOTHING,1\n")
            bad.flush()
            refused = subprocess.run([QUINDAL, "desk", *BOOK[:5], bad.name], capture_output=True, text=True, check=False)
        self.assertEqual((refused.returncode, refused.stdout), (1, ""))
        self.assertIn(f'{bad.name}:2: column "instrument": "NOTHING"', refused.stderr)


class ThePage(unittest.TestCase):
    """One browser and one desk for all tests, each of which opens the page anew."""

    desk: Desk
    folder: tempfile.TemporaryDirectory[str]
    browser: webdriver.Chrome

    @classmethod
    def setUpClass(cls) -> None:
        cls.desk = Desk()
        cls.folder = tempfile.TemporaryDirectory(prefix="quindal-desk-")
        options = Options()
        options.binary_location = "/usr/bin/chromium"
        for word in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars",
                     f"--user-data-dir={cls.folder.name}/profile", "--window-size=1280,720"):
            options.add_argument(word)
        options.add_experimental_option("prefs", {"download.default_directory": cls.folder.name})
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        cls.browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        inner = cls.browser.execute_script("return innerHeight")
        cls.browser.set_window_size(1280, 1440 - inner)

    @classmethod
    def tearDownClass(cls) -> None:
        cls.browser.quit()
        cls.desk.end()
        cls.folder.cleanup()

    def setUp(self) -> None:
        self.browser.get(self.desk.address)
        self.until(lambda: self.text("#count") == "10 clients")

    def until(self, holds: Callable[[], object]) -> None:
        ends = time.monotonic() + PATIENCE
        while not holds():
            self.assertLess(time.monotonic(), ends, "the page does not show it")
            time.sleep(0.02)

    def text(self, selector: str) -> str:
        return str(self.browser.execute_script("return document.querySelector(arguments[0])?.textContent ?? ''", selector))

    def keys(self, *keys: str) -> None:
        self.browser.switch_to.active_element.send_keys(*keys)

    def open(self, client: str) -> None:
        self.browser.find_element(By.ID, "search").clear()
        self.browser.find_element(By.ID, "search").send_keys(client, Keys.ENTER)
        self.until(lambda: self.text("#name") == client)

    def order(self, instrument: str, quantity: str, side: str = "buy") -> None:
        fields = {name: self.browser.find_element(By.CSS_SELECTOR, f"[id$=-{name}]") for name in ("instrument", "side", "quantity")}
        for name, value in (("instrument", instrument), ("side", side), ("quantity", quantity)):
            if name != "side":
                fields[name].clear()
            fields[name].send_keys(value)

    def picture(self, name: str) -> None:
        if PICTURES:
            time.sleep(0.5)  # until all is painted
            PICTURES.mkdir(parents=True, exist_ok=True)
            self.browser.save_screenshot(str(PICTURES / f"{name}.png"))

    def margins(self) -> dict[str, str]:
        rows = csv.DictReader(io.StringIO(printed("margin", *BOOK, "--format", "csv")))
        return {row["code"]: grouped(row["go"]) for row in rows}

    def test_the_tree_has_the_margins_that_the_command_line_prints(self) -> None:
        rows = self.browser.execute_script("""return [...document.querySelectorAll(".node")].map((node) =>
            [node.querySelector(".code").textContent, node.querySelector(".number").textContent])""")
        self.assertEqual({code: go for code, go in rows}, self.margins())

    def test_a_client_that_is_searched_shows_its_go_and_why(self) -> None:
        for client in ("CL01001", "OM01001"):
            self.open(client)
            self.assertEqual(self.text("#figure-GO"), self.margins()[client])
            told = json.loads(printed("explain", "--client", client, *BOOK, "--format", "json"))
            self.assertEqual(self.text("#figure-Volatility-GO"), grouped(told["volatilityGO"]))
            self.assertEqual(self.text("#figure-Delivery-GO"), grouped(told["deliveryAndVolatilityGO"]))
            shares = self.browser.execute_script("""return [...document.querySelectorAll("#why details:nth-of-type(3) tbody tr")]
                .map((row) => [row.cells[0].textContent, row.cells[5].textContent])""")
            self.assertEqual(shares, [[share["instrument"], grouped(share["margin"])] for share in told["shares"]])
            saved = self.browser.execute_script("""return [...document.querySelectorAll("#why details:nth-of-type(1) tbody tr")]
                .map((row) => row.cells[1].textContent)""")
            self.assertEqual(saved, [grouped(level["margin"]) for level in told["levels"]])

    def test_an_order_that_is_typed_costs_what_the_command_line_says(self) -> None:
        orders = Path(self.folder.name) / "typed.csv"
        orders.write_text("client,instrument,side,quantity\nCL02001,INDX-12.26,buy,10\n")
        what_if = json.loads(printed("margin", *BOOK, "--orders", str(orders), "--format", "json"))["whatIfs"][0]
        self.open("CL02001")
        self.order("INDX-12.26", "10")
        self.until(lambda: self.text("#go-after") == grouped(what_if["after"]["GO"]))
        self.assertEqual(self.text("#go-before"), grouped(what_if["before"]["GO"]))
        self.assertEqual(self.text("#go-difference"), "+" + grouped(what_if["difference"]["GO"]))
        self.assertEqual(self.text("#volatility-difference"), "+" + grouped(what_if["difference"]["volatilityGO"]))
        self.assertEqual(self.text("#figure-GO"), grouped(what_if["before"]["GO"]), "the book has not changed")
        self.keys(Keys.ENTER)
        self.until(lambda: "buy 10 INDX-12.26" in self.text("#kept"))
        self.picture("desk-light")

    def test_the_largest_quantity_that_fits_fits_and_one_more_does_not(self) -> None:
        self.open("CL02001")
        self.order("INDX-12.26", "1", "sell")
        self.browser.find_element(By.ID, "fit-money").send_keys("1 000 000", Keys.ENTER)
        self.until(lambda: " fit: GO " in self.text("#fit-answer"))
        told = self.text("#fit-answer")
        found = re.fullmatch(r"(\d+) fit: GO ([\d .]+), [\d .]+ used\. With (\d+): GO ([\d .]+), [\d .]+ used\.", told)
        assert found, told
        quantity, go, next_quantity, next_go = found.groups()
        self.assertEqual(int(next_quantity), int(quantity) + 1)
        orders = Path(self.folder.name) / "fit.csv"
        orders.write_text("what_if,client,instrument,side,quantity\n" +
                          "".join(f"{n},CL02001,INDX-12.26,sell,{n}\n" for n in (quantity, next_quantity)))
        rows = json.loads(printed("margin", *BOOK, "--orders", str(orders), "--format", "json"))["whatIfs"]
        self.assertEqual([grouped(row["after"]["GO"]) for row in rows], [go, next_go])
        self.assertLessEqual(rows[0]["after"]["GO"], 1_000_000.0)
        self.assertGreater(rows[1]["after"]["GO"], 1_000_000.0)
        self.until(lambda: self.text("#go-after") == go)
        asked = json.loads(printed("fit", "--client", "CL02001", "--instrument", "INDX-12.26", "--side", "sell", "--limit", "1000000",
                                   *BOOK, "--format", "json"))
        self.assertEqual((str(asked["with"]["quantity"]), str(asked["oneMore"]["quantity"])), (quantity, next_quantity))

    def test_a_what_if_that_is_kept_right_behind_the_last_key_is_the_one_that_was_typed(self) -> None:
        self.open("CL02001")
        self.order("INDX-12.26", "1")
        self.until(lambda: self.text("#go-after") != "")
        self.keys("0", Keys.ENTER)
        self.until(lambda: "buy 10 INDX-12.26" in self.text("#kept"))
        self.keys("0", Keys.ENTER)
        self.until(lambda: "buy 100 INDX-12.26" in self.text("#kept"))
        rows = self.browser.find_elements(By.CSS_SELECTOR, "#kept tbody tr")
        self.assertEqual(len(rows), 2, "they stand side by side")

    def test_a_bad_order_is_told_beside_its_field(self) -> None:
        self.open("CL02001")
        self.order("INDX-12.26", "ten")
        self.until(lambda: self.text(".fault") == 'quantity: "ten" is not a whole number')
        self.assertEqual(self.browser.find_element(By.CSS_SELECTOR, "[id$=-quantity]").get_attribute("aria-invalid"), "true")
        self.assertEqual(self.text("#answer"), "", "and no figure stands beside it")

    def test_everything_is_reached_by_keys(self) -> None:
        self.keys(Keys.ESCAPE)                      # out of the search, into the tree
        self.keys(Keys.HOME, Keys.ARROW_DOWN, Keys.ARROW_DOWN, Keys.ENTER)
        self.until(lambda: self.text("#name") == "HS01001")
        self.keys("/")
        self.assertEqual(self.browser.switch_to.active_element.get_attribute("id"), "search")
        self.keys("om02", Keys.ENTER)
        self.until(lambda: self.text("#name") == "OM02001")
        self.keys(Keys.ESCAPE, "o")
        self.keys("INDX-3")
        self.until(lambda: self.text(".suggestions li span") == "INDX-3.27")
        self.keys(Keys.ARROW_DOWN, Keys.ENTER, Keys.TAB, Keys.TAB)
        self.keys(Keys.TAB) if self.browser.switch_to.active_element.tag_name == "select" else None
        self.keys("3")
        self.until(lambda: self.text("#go-after") != "")
        self.keys(Keys.ENTER)
        self.until(lambda: "buy 3 INDX-3.27" in self.text("#kept"))

    def test_the_tree_closes_opens_and_is_searched(self) -> None:
        self.keys(Keys.ESCAPE, Keys.HOME, Keys.ARROW_LEFT)
        self.until(lambda: self.text("#count") == "9 clients")
        self.keys(Keys.ARROW_RIGHT)
        self.until(lambda: self.text("#count") == "10 clients")
        self.keys("/")
        self.keys("cl0200")
        self.until(lambda: self.text("#count") == "2 clients found")

    def test_a_bad_file_is_told_beside_its_rows_and_a_good_one_takes_the_place_of_the_book(self) -> None:
        folder = Path(self.folder.name)
        self.open("CL01001")
        self.browser.find_element(By.ID, "tab-files").click()
        (folder / "bad.csv").write_text("code,instrument,quantity\nCL01001,INDX-12.26,five\nCL01001,INDX-12.27,1\n")
        self.browser.find_element(By.ID, "upload-positions").send_keys(str(folder / "bad.csv"))
        self.until(lambda: "bad.csv was refused" in self.text("#upload"))
        told = self.browser.execute_script(
            "return [...document.querySelectorAll('#upload tbody tr')].map((row) => [...row.cells].map((cell) => cell.textContent))")
        self.assertEqual(told[1], ["2", "CL01001,INDX-12.26,five", 'quantity: "five" is not a whole number'])
        self.assertEqual(told[2][:2], ["3", "CL01001,INDX-12.27,1"])
        self.assertIn('did you mean "INDX-12.26"?', told[2][2])
        self.picture("desk-files")

        original = (EXAMPLES / "positions.csv").read_text()
        try:
            (folder / "other.csv").write_text("code,instrument,quantity,price\nCL01001,INDX-12.26,5,3300\n")
            self.browser.find_element(By.ID, "upload-positions").send_keys(str(folder / "other.csv"))
            margin = json.loads(printed("margin", *BOOK[:5], str(folder / "other.csv"), "--format", "json"))
            go = {client["code"]: client["GO"] for client in margin["clients"]}["CL01001"]
            self.until(lambda: self.text("#figure-GO") == grouped(go))
        finally:
            self.desk.ask("positions", name="positions.csv", text=original)
        self.assertEqual(json.loads(self.desk.ask("client", client="CL01001")[2])["GO"]["text"], self.margins()["CL01001"],
                         "the first positions have their first margins")

    def test_orders_of_a_file_have_the_figures_of_the_command_line(self) -> None:
        self.browser.find_element(By.ID, "tab-files").click()
        self.browser.find_element(By.ID, "upload-orders").send_keys(str(EXAMPLES / "orders.csv"))
        self.until(lambda: "orders.csv: " in self.text("#upload"))
        shown = self.browser.execute_script(
            "return [...document.querySelectorAll('#upload tbody tr')].map((row) => [...row.cells].map((cell) => cell.textContent))")
        what_ifs = json.loads(printed("margin", *BOOK, "--orders", str(EXAMPLES / "orders.csv"), "--format", "json"))["whatIfs"]
        self.assertEqual([row[:4] for row in shown], [[what_if["whatIf"], what_if["client"], grouped(what_if["before"]["GO"]),
                                                      grouped(what_if["after"]["GO"])] for what_if in what_ifs])

    def test_a_download_is_the_report_of_the_command_line(self) -> None:
        self.open("CL01001")
        for choice, name, words in (("[data-what=book][data-format=csv]", "book.csv", ["margin", *BOOK, "--format", "csv"]),
                                    ("[data-what=client][data-format=json]", "CL01001.json",
                                     ["explain", "--client", "CL01001", *BOOK, "--format", "json"])):
            self.browser.find_element(By.CSS_SELECTOR, "#downloads summary").click()
            self.browser.find_element(By.CSS_SELECTOR, f"#downloads {choice}").click()
            saved = Path(self.folder.name) / name
            self.until(saved.exists)
            self.assertEqual(saved.read_text(), printed(*words))

    def test_profit_and_loss_is_drawn(self) -> None:
        self.open("CL01001")
        self.browser.find_element(By.ID, "tab-picture").click()
        self.until(lambda: self.browser.execute_script("return document.querySelector('#picture img')?.naturalWidth > 0"))
        told = json.loads(printed("explain", "--client", "CL01001", *BOOK, "--format", "json"))
        grid = next(grid for grid in told["grids"] if grid["code"] == "CRUD")
        panels = json.loads(self.desk.ask("picture", client="CL01001", theme="light")[2])["panels"]
        panel = next(panel for panel in panels if panel["contract"] == "CRUD")
        self.assertEqual(len(grid["scenarios"]), 5)
        for line, scenario in zip(panel["lines"], grid["scenarios"]):
            self.assertEqual([point[3] for point in line["points"]], [grouped(money) for money in scenario])
        self.hover(panel)

    def hover(self, panel: dict[str, object]) -> None:
        """Moves the pointer to the first point of the first line, and reads what it is told."""
        x, y, price, money = panel["lines"][0]["points"][3]  # type: ignore[index]
        self.browser.execute_script("""const sheet = document.querySelector(".sheet"), frame = sheet.getBoundingClientRect();
            const width = arguments[2];
            sheet.dispatchEvent(new PointerEvent("pointermove", { clientX: frame.left + arguments[0] * frame.width / width,
              clientY: frame.top + arguments[1] * frame.width / width }))""", x, y,
            json.loads(self.desk.ask("picture", client="CL01001", theme="light")[2])["width"])
        self.until(lambda: f"at {price}, " in self.text(".hover"))
        self.assertTrue(self.text(".hover").endswith(f": {money}"), self.text(".hover"))

    def test_light_and_dark_are_chosen_and_kept(self) -> None:
        def ground() -> str:
            return str(self.browser.execute_script("return getComputedStyle(document.body).color"))
        first = ground()
        self.browser.find_element(By.ID, "theme").click()
        self.assertNotEqual(ground(), first)
        self.browser.refresh()
        self.until(lambda: self.text("#count") == "10 clients")
        self.assertNotEqual(ground(), first)
        self.open("CL01002")
        self.browser.find_element(By.ID, "tab-picture").click()
        self.until(lambda: self.browser.execute_script("return document.querySelector('#picture img')?.naturalWidth > 0"))
        self.picture("desk-dark")
        self.browser.find_element(By.ID, "theme").click()
        self.assertEqual(ground(), first)

    def test_nothing_breaks_the_policy_and_no_script_fails(self) -> None:
        self.browser.get_log("browser")
        self.open("CL01001")
        for tab in ("tab-picture", "tab-files", "tab-why"):
            self.browser.find_element(By.ID, tab).click()
        self.until(lambda: self.browser.execute_script("return document.querySelector('#picture img') !== null"))
        self.assertEqual(self.browser.get_log("browser"), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
