"""What the procedures in this folder read: for each element type the same recordings of extreme and of ordinary samples, made
by integer arithmetic alone, so that every machine makes the same bytes."""

import array
import pathlib
import random

COUNT = 17000  # of the longest recordings: a block of the longest transform that the procedures use

INTEGERS = {"int16": ("h", 16), "int32": ("i", 32)}
FLOATS = {"float": ("f", "I", 8, 23), "double": ("d", "Q", 11, 52)}
NPY_NAMES = {"int16": "<i2", "int32": "<i4", "float": "<f4", "double": "<f8"}


class Integers:
    """Samples of an integer type."""

    def __init__(self, name):
        self.name = name
        self.code, self.bits = INTEGERS[name]
        self.random = random.Random(name)

    def array(self, samples):
        return array.array(self.code, samples)

    def edges(self):
        top = 1 << (self.bits - 1)
        half = 1 << (self.bits // 2)
        positive = [1, 2, 3, 7, 10, 100, 181, half - 1, half, top // 2, top - 2, top - 1]
        return self.array([0, *positive, *(-x for x in positive), -top])

    def any_bits(self, count):
        return self.array(self.random.getrandbits(self.bits) - (1 << (self.bits - 1)) for _ in range(count))

    def ordinary(self, count):
        return self.array(self.random.getrandbits(self.random.randrange(1, self.bits)) for _ in range(count))

    def near_one(self):
        return self.array([*range(1, 2500), *range(-2500, -1)])

    def from_parts(self, thousandths):
        return self.array(x // 1000 for x in thousandths)


class Floats:
    """Samples of a floating type, by their bits: sign, exponent, fraction."""

    def __init__(self, name):
        self.name = name
        self.code, self.word, self.exponent, self.fraction = FLOATS[name]
        self.random = random.Random(name)
        self.bias = (1 << (self.exponent - 1)) - 1

    def of_bits(self, words):
        samples = array.array(self.code)
        samples.frombytes(array.array(self.word, words).tobytes())
        return samples

    def bits(self, sign, exponent, fraction):
        return ((sign << self.exponent | exponent) << self.fraction) | fraction

    def edges(self):
        everything = (1 << self.fraction) - 1
        top, quiet = (1 << self.exponent) - 1, 1 << (self.fraction - 1)
        one = self.bits(0, self.bias, 0)
        positive = [0, 1, everything, self.bits(0, 1, 0), one - 1, one, one + 1, self.bits(0, top - 1, everything)]
        positive += [self.bits(0, top, 0), self.bits(0, top, quiet), self.bits(0, top, quiet | 5)]
        positive += array.array(self.word, array.array(self.code, [1.1754943508222875e-38, 0.1, 0.5, 3.0, 10.0, 1000.0,
                                3.14159265358979, 1.5707963267948966, 1e22]).tobytes())
        return self.of_bits([sign << (self.exponent + self.fraction) | word for word in positive for sign in (0, 1)])

    def any_bits(self, count):
        return self.of_bits(self.random.getrandbits(1 + self.exponent + self.fraction) for _ in range(count))

    def ordinary(self, count):
        """Of both signs, from a millionth to a million."""
        return self.of_bits(self.bits(self.random.getrandbits(1), self.bias + self.random.randrange(-20, 20),
                                      self.random.getrandbits(self.fraction)) for _ in range(count))

    def near_one(self):
        """Powers of ten and of two, and the neighbours of 1."""
        powers = [float(f"1e{k}") for k in range(-37, 39)] + [2.0**k for k in range(-120, 120)]
        one = self.bits(0, self.bias, 0)
        near = self.of_bits([one + step for step in range(-300, 300)])
        between = self.of_bits(one - (1 << self.fraction) + self.random.getrandbits(self.fraction + 1) for _ in range(3000))
        return array.array(self.code, powers) + near + between

    def from_parts(self, thousandths):
        return array.array(self.code, (x / 1000 for x in thousandths))


def triangle(at, period):
    """From -1000 to 1000 and back, as whole numbers."""
    place = at % period * 4000 // period
    return place - 1000 if place < 2000 else 3000 - place


def recordings_of(samples):
    """All recordings of a type, by name."""
    edges = samples.edges()
    n = len(edges)
    tail = lambda: samples.any_bits(1500) + samples.ordinary(8000)
    pairs = [(i, j) for i in range(n) for j in range(n)]
    chance = random.Random("thousandths")
    steady = [500 * triangle(at, 37) + 300 * triangle(at, 1009) + chance.randrange(-200000, 200000) for at in range(COUNT)]
    noise = [chance.randrange(-1000000, 1000000) for _ in range(COUNT)]
    return {
        "edges": edges,
        "first": array.array(samples.code, (edges[i] for i, _ in pairs)) + tail(),
        "second": array.array(samples.code, (edges[j] for _, j in pairs)) + tail(),
        "third": array.array(samples.code, (edges[(i + j) % n] for i, j in pairs)) + tail(),
        "fourth": array.array(samples.code, (edges[(3 * i + 5 * j + 1) % n] for i, j in pairs)) + tail(),
        "nearOne": samples.near_one(),
        "steady": samples.from_parts(steady),
        "noise": samples.from_parts(noise),
    }


def without_nans(recording):
    return array.array(recording.typecode, (x for x in recording if x == x))


def npy(name, samples):
    header = f"{{'descr': '{NPY_NAMES[name]}', 'fortran_order': False, 'shape': ({len(samples)},), }}"
    padded = header + " " * (-(len(header) + 11) % 64) + "\n"
    return b"\x93NUMPY\x01\x00" + len(padded).to_bytes(2, "little") + padded.encode() + samples.tobytes()


def write_recordings(folder):
    """Writes TYPE/NAME.bin of each type, and the other files that the procedures name."""
    folder = pathlib.Path(folder)
    for samples in (*map(Integers, INTEGERS), *map(Floats, FLOATS)):
        (folder / samples.name).mkdir(parents=True)
        for name, recording in recordings_of(samples).items():
            (folder / samples.name / f"{name}.bin").write_bytes(recording.tobytes())
            if name == "first":
                (folder / f"{samples.name}.npy").write_bytes(npy(samples.name, without_nans(recording)))
    (folder / "int16/all.bin").write_bytes(array.array("h", range(-32768, 32768)).tobytes())
    (folder / "int16/terms.bin").write_bytes(array.array("h", range(0, 3000, 11)).tobytes())
    (folder / "alarm.csv").write_text("event,position\nassert,50\nstatus,20000\n")
