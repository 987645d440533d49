"""Many tasks in one procedure, and what ends their number; many sources into one command."""

import json
import random

from scale_run import count, require, samples, saturated, table


def chain(tasks):
    """OFFSET by 1 and ABS in turn, from `p0` to the last."""
    lines = ['pipe p0 : int16 from "in.bin"']
    lines += [f"pipe p{i} : int16" for i in range(1, tasks)]
    lines.append(f'pipe p{tasks} : int16 to "out.bin"')
    for i in range(tasks):
        lines.append(f"ABS (p{i}, p{i + 1})" if i % 2 else f"OFFSET (p{i}, 1, p{i + 1})")
    return lines


def requireChain(bench, source, tasks):
    """The first ABS leaves nothing negative, so that each later pair adds 1 up to the type's limit."""
    passed = [saturated(abs(saturated(x + 1)) + tasks // 2 - 1) for x in range(-32768, 32768)]
    bench.requireFile("out.bin", samples(passed[x + 32768] for x in source))


def fan(tasks):
    """One recording to that many tasks; the outputs of all but the last stop at 1,000 samples."""
    lines = ['pipe p0 : int16 from "in.bin"']
    for i in range(tasks):
        lines.append(f'pipe q{i} : int16 to "q{i}.bin"' + (" limit 1000" if i < tasks - 1 else ""))
    return lines + [f"OFFSET (p0, {i % 5000}, q{i})" for i in range(tasks)]


def requireFan(bench, source, tasks):
    for i in range(tasks):
        part = source[:1000] if i < tasks - 1 else source
        bench.requireFile(f"q{i}.bin", samples(saturated(x + i % 5000) for x in part))


def randomRecording(length):
    return samples(random.Random(length).choices(range(-32768, 32768), k=length))


def manyTasks(bench):
    """Set-up is the time of the run with an empty recording; the rest is the samples'."""
    rows = []
    sizes = [(chain, requireChain, 1000, 1_000_000), (fan, requireFan, 1000, 1_000_000),
             (chain, requireChain, 10_000, 200_000), (chain, requireChain, 14_000, 100_000)]
    if bench.quick:
        sizes = [(chain, requireChain, 1000, 20_000), (fan, requireFan, 200, 20_000)]
    for shape, check, tasks, length in sizes:
        bench.note(f"{shape.__name__}: {count(tasks)} tasks, {count(length)} samples")
        bench.put("in.bin", b"")
        setUp = bench.run(shape(tasks))
        source = randomRecording(length)
        bench.put("in.bin", source.tobytes())
        full = bench.run(shape(tasks))
        check(bench, source, tasks)
        perSample = (full.seconds - setUp.seconds) / (tasks * length) * 1e9
        rows.append((shape.__name__, count(tasks), count(length), f"{setUp.seconds:.2f}", f"{full.seconds:.2f}",
                     f"{perSample:.2f}", f"{full.megabytes:.0f}", f"{full.megabytes * 1024 / tasks:.0f}"))
    return table(("shape", "tasks", "samples", "set-up, s", "run, s", "ns a task and sample", "peak, MB", "KB a task"),
                 rows)


def endOfTasks(bench):
    """What ends the number of tasks: the session's limit first, then the system's mappings."""
    with open("/proc/sys/vm/max_map_count", encoding="ascii") as file:
        mappings = int(file.read())
    source = randomRecording(1000)
    bench.put("in.bin", source.tobytes())
    rows = []
    cases = [(20_000, "4G", "memory ran out at ")]
    if mappings <= 200_000 and not bench.quick:
        fitting = mappings // 4 * 2 - 200  # an even number, as requireChain takes it
        cases += [(fitting, "1000G", ""), (mappings // 2 + 1000, "1000G", "the system has no room for its stack")]
    for tasks, memory, message in cases:
        bench.note(f"chain: {count(tasks)} tasks with --memory {memory}")
        run = bench.run(chain(tasks), "--memory", memory, expected=1 if message else 0)
        require(message in run.said, f"a message with {message!r} was expected:\n{run.said[:1000]}")
        if not message:
            requireChain(bench, source, tasks)
        first = run.said.splitlines()[0].split("error: OFFSET: ")[-1].split("error: ABS: ")[-1]
        rows.append((count(tasks), memory, f"{run.seconds:.2f}", f"{run.megabytes:.0f}",
                     first if message else "runs, output right"))
    return table(("tasks in a chain", "--memory", "s", "peak, MB", "what comes of it"), rows)


def narrowFan(readers):
    """A pipe of 8 samples whose readers are held up in turn by pipes of 2, so that its writer waits again and again."""
    lines = ['pipe x : int16 from "in.bin"', "pipe narrow : int16 capacity 8", "OFFSET (x, 1, narrow)"]
    for i in range(readers):
        lines += [f"pipe q{i} : int16 capacity 2", f"pipe t{i} : int16" + (' to "out.bin"' if i == readers - 1 else ""),
                  f"OFFSET (narrow, {i % 100}, q{i})", f"ABS (q{i}, t{i})"]
    return lines


def manyReaders(bench):
    """And a trigger that has none."""
    rows = []
    source = randomRecording(2000)
    bench.put("in.bin", source.tobytes())
    for readers in (100, 400) if bench.quick else (250, 1000, 4000):
        bench.note(f"a narrow pipe with {count(readers)} readers")
        run = bench.run(narrowFan(readers))
        last = (readers - 1) % 100
        bench.requireFile("out.bin", samples(saturated(abs(saturated(saturated(x + 1) + last))) for x in source))
        rows.append((f"{count(readers)} readers", count(len(source)), f"{run.seconds:.2f}",
                     f"{run.seconds / (readers * len(source)) * 1e9:.0f}", f"{run.megabytes:.0f}"))
    rows.append(unreadEvents(bench, 100_000 if bench.quick else 50_000_000))
    return table(("what", "samples", "s", "ns for each reader and sample", "peak, MB"), rows)


def unreadEvents(bench, length):
    """An event at every sample but the first."""
    bench.note(f"{count(length)} events that nobody reads")
    lines = ["pipe x : int16", "trigger edges", 'pipe mean : int16 to "mean.bin"', f"AVERAGE (x, {length}, mean)",
             "TOGGLE (x, outside, -100, 100, inside, -100, 100, edges)"]
    block = samples([0, 500] * (length // 20))
    run = bench.run(lines, "--in", "x=-", "--report", "report.json",
                    feed=lambda file: [file.write(block) for _ in range(10)])
    bench.requireFile("mean.bin", samples([250]))
    with open(bench.at("report.json"), encoding="utf-8") as file:
        asserted = json.load(file)["triggers"][0]["asserted"]
    require(asserted == length - 1, f"{asserted} events and not {length - 1}")
    return ("events that nobody reads", count(length), f"{run.seconds:.2f}", f"{run.seconds / length * 1e9:.0f}",
            f"{run.megabytes:.0f}")


def sortedPositions(seed, length):
    return sorted(random.Random(seed).sample(range(length * 400), length))


def triggerFile(positions, last):
    """All sources vouch for the same last position, since TOR goes as far as the one that is furthest behind."""
    return "event,position\n" + "".join(f"assert,{p}\n" for p in positions) + f"status,{last}\n"


def unions(bench, sources, events):
    """TOR takes 64; more go through a second row of it. Events at one position become one."""
    bench.note(f"TOR: {sources} sources of {count(events)} events")
    expected, lines = set(), ['trigger any to "any.csv"']
    for i in range(sources):
        positions = sortedPositions(i, events)
        expected.update(positions)
        bench.put(f"t{i}.csv", triggerFile(positions, 400 * events))
        lines.append(f'trigger t{i} from "t{i}.csv"')
    groups = [[f"t{i}" for i in range(first, min(first + 64, sources))] for first in range(0, sources, 64)]
    if len(groups) > 1:
        for number, group in enumerate(groups):
            lines += [f"trigger g{number}", f"TOR ({', '.join(group)}, g{number})"]
        groups = [[f"g{number}" for number in range(len(groups))]]
    run = bench.run(lines + [f"TOR ({', '.join(groups[0])}, any)"])
    with open(bench.at("any.csv"), encoding="ascii") as file:
        rows = file.read().splitlines()
    require(rows[1:-1] == [f"assert,{p}" for p in sorted(expected)], "TOR's events are wrong")
    return ("TOR", sources, count(sources * events) + " events", f"{run.seconds:.2f}",
            f"{run.seconds / (sources * events) * 1e9:.0f}", f"{run.megabytes:.0f}")


def requireOrder(elements, sources, what):
    """`elements` are tag, sample, tag, sample: each source's samples must be there in order, and nothing else."""
    streams = [[] for _ in sources]
    for tag, sample in zip(elements[0::2], elements[1::2]):
        streams[tag].append(sample)
    require(len(elements) % 2 == 0 and streams == sources, what)


def merge(bench, length):
    """64 recordings, of lengths that differ."""
    bench.note(f"MERGEF: 64 recordings of about {count(length)} samples")
    sources = [list(randomRecording(length + 37 * i)) for i in range(64)]
    for i, source in enumerate(sources):
        bench.put(f"s{i}.bin", samples(source).tobytes())
    names = [f"s{i}" for i in range(64)]
    lines = [f'pipe {name} : int16 from "{name}.bin"' for name in names] + ['pipe all : int16 to "all.bin"']
    run = bench.run(lines + [f"MERGEF ({', '.join(names)}, all)"])
    requireOrder(bench.read("all.bin"), sources, "MERGEF lost or moved something")
    total = sum(map(len, sources))
    return ("MERGEF", 64, count(total) + " samples", f"{run.seconds:.2f}", f"{run.seconds / total * 1e9:.1f}",
            f"{run.megabytes:.0f}")


def mergeCascade(bench, groups, length):
    """64 merges of 64 streams each into one: each stream is the recording plus its own number."""
    bench.note(f"MERGEF: a cascade of {groups * 64} sources of {length} samples")
    source = list(randomRecording(length))
    bench.put("in.bin", samples(source).tobytes())
    lines = ['pipe x : int16 from "in.bin"', 'pipe all : int16 to "all.bin"']
    for g in range(groups):
        names = [f"s{g * 64 + i}" for i in range(64)]
        lines += [f"pipe {name} : int16" for name in names] + [f"pipe g{g} : int16"]
        lines += [f"OFFSET (x, {g * 64 + i}, {name})" for i, name in enumerate(names)]
        lines.append(f"MERGEF ({', '.join(names)}, g{g})")
    run = bench.run(lines + [f"MERGEF ({', '.join(f'g{g}' for g in range(groups))}, all)"])
    elements = bench.read("all.bin")
    links = [[] for _ in range(groups)]
    for tag, element in zip(elements[0::2], elements[1::2]):
        links[tag].append(element)
    for g, link in enumerate(links):
        expected = [[saturated(x + g * 64 + i) for x in source] for i in range(64)]
        requireOrder(link, expected, f"the cascade lost or moved something in group {g}")
    total = groups * 64 * length
    return ("MERGEF of MERGEFs", count(groups * 64), count(total) + " samples", f"{run.seconds:.2f}",
            f"{run.seconds / total * 1e9:.1f}", f"{run.megabytes:.0f}")


def tooManySources(bench):
    lines = [f"pipe s{i} : int16 starts [0]" for i in range(65)] + ['pipe all : int16 to "all.bin"']
    run = bench.run(lines + ["MERGEF (" + ", ".join(f"s{i}" for i in range(65)) + ", all)"], expected=2)
    return run.said.splitlines()[0].split("error: ")[-1]


def manySources(bench):
    small = bench.quick
    rows = [unions(bench, 64, 500 if small else 20_000), merge(bench, 2000 if small else 100_000)]
    rows.append(mergeCascade(bench, 4 if small else 64, 50 if small else 1000))
    if not small:
        rows.append(unions(bench, 4096, 100))
    return (table(("command", "sources", "in all", "s", "ns each", "peak, MB"), rows) +
            f"\n\nA 65th source of one MERGEF is refused: `{tooManySources(bench)}`.")
