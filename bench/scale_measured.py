"""scale_measured.py FILE COMMAND...: runs the command and writes its exit status, seconds and peak memory in KB to FILE.

A process is told the peak of what it was forked from as its own, so this stays small and imports next to nothing."""

import os
import sys
import time

began = time.perf_counter()
child = os.fork()
if child == 0:
    os.execv(sys.argv[2], sys.argv[2:])
_, status, used = os.wait4(child, 0)
with open(sys.argv[1], "w", encoding="ascii") as file:
    file.write(f"{os.waitstatus_to_exitcode(status)} {time.perf_counter() - began} {used.ru_maxrss}")
