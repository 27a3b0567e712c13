"""Explanations and their pictures."""

from __future__ import annotations

import hashlib
from dataclasses import asdict
from datetime import datetime, timezone
from pathlib import Path

import pytest
from conftest import MARKET

from quindalim import Calculator, Explanation, InputError, plot, version


def test_an_explanation_is_typed_and_adds_up(example_book: Calculator) -> None:
    for margin in example_book.margins():
        explanation = example_book.explain(margin.client)
        assert isinstance(explanation, Explanation)
        assert (explanation.client, explanation.go) == (margin.client, margin.go)
        assert explanation.volatility_go == pytest.approx(margin.volatility_go, rel=1e-12)
        assert explanation.delivery_go == pytest.approx(margin.delivery_go, rel=1e-12)
        weight = explanation.delivery_weight
        mixed = (1 - weight) * explanation.volatility_go + weight * explanation.delivery_go
        assert explanation.unrounded == pytest.approx(mixed * explanation.ratio, rel=1e-12)
        assert sum(share.margin for share in explanation.shares) == pytest.approx(explanation.unrounded, rel=1e-9)
        for grid in explanation.grids:
            assert {len(row) for row in grid.scenarios} == {len(grid.prices)}


def test_an_explanation_says_what_it_was_computed_from(example_book: Calculator) -> None:
    before = datetime.now(timezone.utc).replace(microsecond=0)
    provenance = example_book.explain("CL01001").provenance
    assert provenance.market_sha256 == hashlib.sha256(MARKET.read_bytes()).hexdigest()
    assert provenance.market.startswith("127.0.0.1:")  # the private server, which was given the file
    assert provenance.market_time is not None
    assert before <= provenance.market_time <= datetime.now(timezone.utc)
    assert asdict(provenance)["library_version"] == version()


def test_a_client_that_nobody_knows_is_not_explained(example_book: Calculator) -> None:
    with pytest.raises(InputError, match="client: 'ZZ01001' is not registered"):
        example_book.explain("ZZ01001")


def test_a_plot_has_a_panel_for_each_contract_and_a_line_for_each_scenario(
    example_book: Calculator, tmp_path: Path
) -> None:
    pytest.importorskip("matplotlib")
    explanation = example_book.explain("CL01001")
    figure = plot(explanation)
    assert [axes.get_title() for axes in figure.axes] == [grid.code for grid in explanation.grids]
    for axes, grid in zip(figure.axes, explanation.grids):
        lines = [line for line in axes.get_lines() if len(line.get_xdata()) == len(grid.prices)]
        assert [list(line.get_ydata()) for line in lines] == grid.scenarios
    rings = [line.get_xydata().tolist()[0] for line in figure.axes[0].get_lines() if line.get_marker() == "o"]
    drawn = explanation.grids[0]
    low = min(row[0] for row in drawn.scenarios)
    assert rings == [[drawn.prices[0], low]]  # its worst cell is the low end of the grid, as the first page says
    figure.savefig(tmp_path / "margin.png")
    assert (tmp_path / "margin.png").read_bytes().startswith(b"\x89PNG")
