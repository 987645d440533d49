"""A sweep of a controller's gains on the oven of oven.zp: overshoot and settling time of a step from 20 to 60 degrees."""

import numpy as np
import zepl

STEPS, START, TARGET, BAND = 600, 20.0, 60.0, 1.0  # samples, degrees


def step_response(gain: float, integral: float, derivative: float) -> np.ndarray:
    p = zepl.Procedure(feed="lockstep")  # one set point for each turn of the loop
    setpoint = p.pipe("setpoint", float, np.full(STEPS, TARGET))
    gains = p.pipe("gains", np.float32, starts=[gain, integral, derivative, 1])
    drive, mean = p.pipe("drive", float), p.pipe("mean", float)
    temperature = p.pipe("temperature", float, starts=[START], limit=STEPS)
    p.PID(setpoint, temperature, gains, 1.0, drive, 0.0, 100.0)
    # The heat of the last 40 samples, and 1.2 degrees above a room of 20 for each percent.
    p.RSUM(drive, 1, 40.0, 40, mean)
    p.SCALE(mean, 16.666666666666668, 1.2, 1.0, temperature)
    return p.run(collect=[temperature])["temperature"]


print("    K    Ti    Td   overshoot, degrees   settled within a degree after")
for gain in (0.25, 0.5, 1.0):
    for integral in (12, 24):
        for derivative in (0, 8):
            response = step_response(gain, integral, derivative)
            outside = np.flatnonzero(abs(response - TARGET) > BAND)
            settled = f"{outside[-1] + 1} samples" if outside[-1] + 1 < STEPS else "not in the run"
            print(f"{gain:5} {integral:5} {derivative:5}   {max(0.0, response.max() - TARGET):18.1f}   {settled}")
