"""The flow graph of flow_graph_bench.cpp, with GNU Radio's blocks and with SciPy: int16 samples, (x + 3) * 30 / 7, 129
taps by 5, von Hann's window and the amplitudes of 1024-point transforms, from memory to memory."""

import functools

import numpy as np

SAMPLES = 50_000_000
TAPS, DECIMATION, LENGTH = 129, 5, 1024


def hann(count, offset=0.0):
    return 0.5 - 0.5 * np.cos(2 * np.pi * (np.arange(count) + offset) / count)


@functools.lru_cache(None)
def source():
    return (np.arange(SAMPLES) * 83 % 8192 - 4096).astype(np.int16)


COEFFICIENTS = (hann(TAPS, 0.5) / (TAPS / 2)).astype(np.float32)
# The amplitude's factor stands in the window, where it costs nothing.
WINDOW = (hann(LENGTH) * np.sqrt(2) / LENGTH).astype(np.float32)


@functools.lru_cache(None)
def gnu_radio_blocks():
    """As few blocks as can be: the gain goes with the conversion, and the offset is added behind it. All is float, in
    single precision; the transform is complex, as GNU Radio has no real one, and gives all 1024 amplitudes."""
    from gnuradio import blocks, fft, filter, gr

    graph = gr.top_block()
    memory = blocks.vector_source_s(source())
    sink = blocks.vector_sink_f(LENGTH, SAMPLES // DECIMATION // LENGTH)
    graph.connect(
        memory,
        blocks.short_to_float(1, 7 / 30),
        blocks.add_const_ff(3 * 30 / 7),
        filter.fir_filter_fff(DECIMATION, COEFFICIENTS),
        blocks.stream_to_vector(4, LENGTH),
        fft.fft_vfc(LENGTH, True, WINDOW, nthreads=1),
        blocks.complex_to_mag(LENGTH),
        sink,
    )
    return graph, memory, sink


def run_gnu_radio():
    graph, memory, sink = gnu_radio_blocks()
    memory.rewind()
    sink.reset()
    graph.run()


def gnu_radio_graph():
    gnu_radio_blocks()
    return run_gnu_radio, SAMPLES


def first_magnitudes():
    """The lower half of the first eight spectra."""
    run_gnu_radio()
    sink = gnu_radio_blocks()[2]
    spectra = np.array(sink.data()[: 8 * LENGTH], dtype=np.float32).reshape(-1, LENGTH)
    return [float(x) for x in spectra[:, : LENGTH // 2].ravel()]


def run_scipy():
    import scipy.fft
    import scipy.signal

    scaled = (source().astype(np.float32) + np.float32(3)) * np.float32(30 / 7)
    filtered = scipy.signal.upfirdn(COEFFICIENTS, scaled, 1, DECIMATION)
    count = SAMPLES // DECIMATION // LENGTH
    return np.abs(scipy.fft.rfft(filtered[: count * LENGTH].reshape(count, LENGTH) * WINDOW))


def scipy_graph():
    source()
    return run_scipy, SAMPLES
