"""A picture of the profit and loss over the price grids, by matplotlib where it is installed."""

from __future__ import annotations

from importlib import import_module
from typing import Any

from .explanation import Explanation, Grid


def plot(explanation: Explanation) -> Any:
    """A matplotlib figure: a panel for each contract, a line for each volatility scenario, a ring at each worst cell.

    Price across, money up; before stresses. ``figure.savefig("margin.png")`` writes it. Raises ImportError without
    matplotlib.
    """
    figures = import_module("matplotlib.figure")  # heavy, and not everybody has it
    panels = max(len(explanation.grids), 1)
    figure = figures.Figure(figsize=(8, 3.5 * panels), layout="constrained")
    figure.suptitle(f"{explanation.client}: GO {explanation.go:,.2f}")
    for place, grid in enumerate(explanation.grids):
        _draw(figure.add_subplot(panels, 1, place + 1), grid, explanation)
    return figure


def _draw(axes: Any, grid: Grid, explanation: Explanation) -> None:
    for number, money in enumerate(grid.scenarios):
        axes.plot(grid.prices, money, linewidth=1, label=f"scenario {number}")
    for cell in explanation.worst_cells:
        if cell.contract == grid.code and cell.price is not None and cell.cell is not None:
            axes.plot([cell.price], [cell.cell], "o", markersize=10, fillstyle="none", color="black")
    axes.axhline(0, color="grey", linewidth=0.5)
    axes.set_title(grid.code)
    axes.set_xlabel(f"price of {grid.futures}")
    axes.set_ylabel("profit and loss")
    axes.legend(fontsize="small")
