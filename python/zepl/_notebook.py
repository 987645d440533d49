"""How a result looks in a notebook: a table of the outputs, with small plots where matplotlib is there."""

from __future__ import annotations

import base64
import html as markup
import io
from typing import TYPE_CHECKING, Any

import numpy as np

if TYPE_CHECKING:
    from ._run import Result

MOST_PLOTTED = 12


def describe(value: Any) -> str:
    if isinstance(value, np.ndarray):
        return f"{' x '.join(map(str, value.shape))} {value.dtype}"
    return repr(value)


def _envelope(values: np.ndarray[Any, Any], columns: int = 400) -> tuple[Any, Any, Any]:
    """Positions with the least and the greatest value of each stretch, so that a long recording is soon drawn."""
    step = max(1, len(values) // columns)
    count = len(values) // step
    stretches = values[: count * step].reshape(count, step)
    return np.arange(count) * step, stretches.min(axis=1), stretches.max(axis=1)


def _plot(values: np.ndarray[Any, Any], rate: float, is_events: bool) -> str:
    from matplotlib.figure import Figure  # type: ignore[import]

    figure = Figure(figsize=(4, 0.8))
    axes = figure.add_axes((0, 0.28, 1, 0.7))
    if is_events:
        axes.vlines(values / rate, 0, 1, linewidth=0.6)
        axes.set_yticks([])
    else:
        for channel in values.reshape(len(values), -1).T:
            at, low, high = _envelope(channel)
            axes.fill_between(at / rate, low, high, linewidth=0.6, edgecolor="face")
    axes.tick_params(labelsize=6)
    image = io.BytesIO()
    figure.savefig(image, format="png", dpi=90)
    return f'<img src="data:image/png;base64,{base64.b64encode(image.getvalue()).decode()}" alt="">'


def _cells(name: str, value: Any, rate: float, is_events: bool, plots: bool) -> str:
    numbers = isinstance(value, np.ndarray) and value.size > 0
    span = f"{value.min():g} … {value.max():g}" if numbers else ""
    picture = _plot(value, rate, is_events) if plots and numbers else ""
    cells = (markup.escape(name), markup.escape(describe(value)), span, picture)
    return "<tr>" + "".join(f"<td>{cell}</td>" for cell in cells) + "</tr>"


def html(result: Result) -> str:
    try:
        import matplotlib  # type: ignore[import]  # noqa: F401

        plots = True
    except ImportError:
        plots = False
    rows: list[str] = []
    for name, value in result.items():
        columns = {f"{name}: {heading}": column for heading, column in value.items()} if hasattr(value, "items") else {name: value}
        for heading, column in columns.items():
            shown = plots and len(rows) < MOST_PLOTTED
            rows.append(_cells(heading, column, result.rates[name], name in result.triggers, shown))
    for name, value in result.variables.items():
        if not isinstance(value, np.ndarray):
            rows.append(f"<tr><td>{markup.escape(name)}</td><td>variable</td><td>{value}</td><td></td></tr>")
    notes = "".join(f"<li>{markup.escape(note)}</li>" for note in result.notes)
    head = "<tr><th>output</th><th>samples</th><th>range</th><th></th></tr>"
    return f"<table>{head}{''.join(rows)}</table>" + (f"<ul>{notes}</ul>" if notes else "")
