"""ZEPL's commands and procedures on NumPy arrays.

    result = zepl.run("heart_rate.zp", {"ecg": samples}, rate=360)   # a procedure: arrays in, arrays out
    zepl.check("heart_rate.zp")                                      # its mistakes
    p = zepl.Procedure(rate=51200)                                   # one that is built in code
    zepl.offset(samples, 5)                                          # a command on one stream
    zepl.batch("levels.zp", {"ecg": "recordings/*.wav"})             # a procedure on many recordings

help(zepl.OFFSET) is the page about a command.
"""

from ._arrays import Array
from ._batch import Rows, batch
from ._commands import *  # noqa: F403
from ._commands import commands, load_module
from ._errors import Error, Mistake, ProcedureError, RunError
from ._live import Live, start
from ._procedure import Pipe, Procedure, Trigger, Variable, Vector
from ._run import Result, Table, check, run

# `from zepl import *` brings no command: some have names of Python's own, such as abs and range.
__all__ = [
    "Array", "Error", "Live", "Mistake", "Pipe", "Procedure", "ProcedureError", "Result", "Rows", "RunError", "Table", "Trigger", "Variable",
    "Vector", "batch", "check", "load_module", "run", "start",
]
