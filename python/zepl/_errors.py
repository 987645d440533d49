"""What goes wrong: mistakes with their places, and exceptions."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any


@dataclass(frozen=True)
class Mistake:
    """A mistake in a procedure, or a warning about it. Lines and columns count from 1; line 0 is no place."""

    line: int
    column: int
    text: str
    hint: str = ""
    severity: str = "error"  # "error", "warning", "caution", or "arrival": the result depends on how the input arrives
    length: int = 1
    call: str = ""  # the Python call that the line came from, of a procedure built in code

    def __str__(self) -> str:
        place = self.call or (f"{self.line}:{self.column}" if self.line else "")
        text = f"{place}: {self.text}" if place else self.text
        return text + (f"\n  {self.hint}" if self.hint else "")


class Error(Exception):
    """Any failure that the package reports. `hint` is what to do."""

    # Unpickling calls each class with the text alone, and restores the fields afterwards.

    def __init__(self, message: str, hint: str = "") -> None:
        super().__init__(message + (f"\n  {hint}" if hint else ""))
        self.message = message
        self.hint = hint


class ProcedureError(Error):
    """A procedure that cannot run: `diagnostics` are its mistakes."""

    def __init__(
        self, message: str, diagnostics: list[Mistake] | None = None, report: dict[str, Any] | None = None
    ) -> None:
        super().__init__(message)
        self.diagnostics = diagnostics or []
        self.report = report or {}


class RunError(Error):
    """A run that failed: `report` says how, `result` has what there was by then."""

    def __init__(
        self,
        message: str,
        diagnostics: list[Mistake] | None = None,
        report: dict[str, Any] | None = None,
        result: Any = None,
    ) -> None:
        super().__init__(message)
        self.diagnostics = diagnostics or []
        self.report = report or {}
        self.result = result
