"""The tables on the repository's first page are what the package computes from the same files."""

from __future__ import annotations

import re

from conftest import EXAMPLES, REPOSITORY

from quindalim import Calculator, csv_rows


def readme_table(title: str) -> list[list[str]]:
    """Cells of the first table of README.md whose title row begins with these words."""
    lines = (REPOSITORY / "README.md").read_text().splitlines()
    start = next(number for number, line in enumerate(lines) if line.startswith(title))
    rows = []
    for line in lines[start + 1 :]:
        if not line.strip() or line.startswith("```"):
            break
        rows.append(re.split(r"  +", line.strip()))
    return rows


def money(figure: float) -> str:
    return f"{figure:,.2f}".replace(",", " ")


def test_each_client_has_the_margin_that_the_first_page_prints(example_book: Calculator) -> None:
    printed = readme_table("Client   Firm")
    assert len(printed) == 10
    assert [
        [margin.client, margin.client[:4], money(margin.volatility_go), money(margin.delivery_go), money(margin.go)]
        for margin in example_book.margins()
    ] == printed


def test_each_firm_and_account_has_the_margin_that_the_first_page_prints(example_book: Calculator) -> None:
    firms, accounts = example_book.level_margins()
    assert [[firm.code, firm.parent, money(firm.go)] for firm in firms] == readme_table("Firm  Settlement account")
    assert [[account.code, money(account.go)] for account in accounts] == readme_table("Settlement account  ")
    assert len(firms) == 5 and len(accounts) == 3


def test_each_what_if_costs_what_the_first_page_prints(example_book: Calculator) -> None:
    printed = readme_table("What-if  ")
    assert len(printed) == 13
    assert [
        [
            tried.label,
            tried.client,
            money(tried.before.go),
            money(tried.after.go),
            money(tried.difference),
            money(tried.after.volatility_go - tried.before.volatility_go),
            money(tried.after.delivery_go - tried.before.delivery_go),
        ]
        for tried in example_book.what_if(csv_rows(EXAMPLES / "orders.csv"))
    ] == printed


def test_the_explanation_is_that_of_the_first_page(example_book: Calculator) -> None:
    explanation = example_book.explain("CL01001")
    assert money(explanation.go) == "267 014.40"
    assert [[share.instrument, money(share.margin)] for share in explanation.shares] == [
        ["CRUD-12.26", "1 132 433.84"],
        ["CRUD-17DEC26-C74", "-150 830.54"],
        ["CRUD-18MAR27-C74", "274 987.42"],
        ["CRUD-3.27", "-1 146 457.50"],
        ["CRUT-12.26", "156 881.18"],
    ]
    assert [money(level.margin) for level in explanation.levels] == [
        "3 331 392.20",
        "3 331 392.20",
        "2 035 432.72",
        "267 014.39",
        "267 014.39",
    ]
    assert {(cell.contract, money(cell.money)) for cell in explanation.worst_cells} == {
        ("CRUD", "-110 133.21"),
        ("CRUT-12.26", "-156 881.18"),
    }
    share_sum = sum(share.margin for share in explanation.shares)
    assert abs(share_sum - explanation.unrounded) < 1e-6
