"""The tables of docs/performance.md, made from samples."""

import collections
import datetime
import os
import platform
import re
import statistics

NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
# What waits for other processes is measured by the clock, what only computes by its own processor time: that is the
# same on a machine that has other work.
BY_CLOCK = {"exec_bench", "window_bench"}
SUFFIX = re.compile(r"/(real_time|manual_time|process_time|iterations:\d+|min_time:[\d.]+|repeats:\d+)")


class Samples:
    def __init__(self):
        self.values = collections.defaultdict(list)

    def add(self, program, variant, row):
        if row["run_type"] != "iteration":
            return
        case = SUFFIX.sub("", row["run_name"])
        time = row["real_time" if program in BY_CLOCK else "cpu_time"]
        self.values[program, variant, case].append(time * NANOSECONDS[row["time_unit"]])
        if "processor" in row:
            self.values[program, variant, case + " processor"].append(row["processor"] * 1e9)
        if "made" in row:
            self.values[program, variant, "made"].append(row["made"] * 1e9)

    def has(self, program):
        return any(key[0] == program for key in self.values)

    def count(self, program):
        return min(len(values) for key, values in self.values.items() if key[0] == program)

    def __call__(self, program, case, variant=""):
        """The median in nanoseconds."""
        return statistics.median(self.values[program, variant, case])


def duration(nanoseconds):
    for unit, size in (("ns", 1), ("µs", 1e3), ("ms", 1e6)):
        if nanoseconds < 1000 * size:
            break
    return f"{nanoseconds / size:.3g} {unit}" if nanoseconds / size < 1000 else f"{nanoseconds / size:.0f} {unit}"


def ratio(value):
    return f"{value:.2f}"


def table(header, rows):
    lines = [header, ["---"] + ["---:"] * (len(header) - 1), *rows]
    return "".join("| " + " | ".join(line) + " |\n" for line in lines) + "\n"


class Page:
    def __init__(self, samples):
        self.of = samples
        self.text = ""
        self.aims = []

    def aim(self, what, wanted, measured):
        self.aims.append((what, wanted, measured))

    def section(self, title, program, what):
        self.text += f"## {title}\n\n{what} Medians of {self.of.count(program)} samples.\n\n"

    def runner(self):
        ways = ["floor", "runner", "popen", "g_spawn_sync"]
        self.section("Running a command", "exec_bench",
                     "Wall time from the call to the lines in memory, and the processor time of caller and child "
                     "together; *caller*: resident memory of the calling process.")
        clocks, processors = [], []
        for case, title, wanted in (("true", "`/bin/true`", 1.10), ("1000_lines", "1,000 captured lines", 1.20)):
            for size in ("50 MB", "2 GB"):
                for rows, suffix, kind in ((clocks, "", "wall time"), (processors, " processor", "processor time")):
                    times = [self.of("exec_bench", f"{way}/{case}{suffix}", size) for way in ways]
                    rows.append([title, size, *map(duration, times), ratio(times[1] / times[0])])
                    self.aim(f"runner / floor, {title}, caller {size}, {kind}", wanted, times[1] / times[0])
            small, large = (self.of("exec_bench", f"runner/{case}", size) for size in ("50 MB", "2 GB"))
            self.aim(f"runner, caller 2 GB / 50 MB, {title}", None, large / small)
        for rows, kind in ((clocks, "wall time"), (processors, "processor time")):
            self.text += table([f"command, {kind}", "caller", *ways, "runner / floor"], rows)

    def mount_table(self):
        ways = ["plugin", "getmntent", "libmount", "read"]
        self.section("Looking a mount point up", "mount_table_bench",
                     "Processor time from opening the table to closing it; the wanted entry is the last one.")
        rows = []
        tables = [("file", 10**n, "entries") for n in range(1, 6)] + [("kernel", 2000, "mounts")]
        for kind, entries, unit in tables:
            title = f"{kind}, {entries:,} {unit}"
            times = [self.of("mount_table_bench", f"{kind}/{way}/{entries}") for way in ways]
            rows.append([title, *map(duration, times), *(ratio(times[0] / time) for time in times[1:])])
            if kind == "kernel":
                self.aim(f"look-up / read, {title}", 1.35, times[0] / times[3])
            else:
                self.aim(f"look-up / getmntent, {title}", 1.15, times[0] / times[1])
                self.aim(f"look-up / libmount, {title}", 0.20, times[0] / times[2])
        self.text += table(["table", *ways, "/ getmntent", "/ libmount", "/ read"], rows)

    def frame(self):
        entry, call, references = (self.of("frame_bench", case)
                                   for case in ("entry", "method", "references"))
        self.section("The frame of an entry point", "frame_bench",
                     "Processor time of one call of `supports_fitype` through the library, tracing off.")
        self.text += table(["entry point", "its method, called directly", "four counted references", "/ method", "/ references"],
                           [[*map(duration, (entry, call, references)), ratio(entry / call), ratio(entry / references)]])
        self.aim("entry point / four counted references", 2.0, entry / references)

    def window(self):
        self.section("The freeze window", "window_bench",
                     "Wall time from the call of the freeze to the return of the thaw, on an xfs of 320 MiB over a loop "
                     "device. *made*: the volume layer's own time in it; the ratio is the median over single windows, "
                     "each with its own.")
        rows = []
        for case, title in (("clone", "cloned image"), ("copy", "copied image")):
            window, made, bare = (self.of("window_bench", name, case) for name in ("window", "made", "bare_pair"))
            # What the volume layer needs varies much from one snapshot to the next: each window has its own.
            pairs = zip(self.of.values["window_bench", case, "window"], self.of.values["window_bench", case, "made"])
            over = statistics.median(whole / (bare + part) for whole, part in pairs)
            rows.append([title, *map(duration, (window, made, bare)), ratio(over)])
            self.aim(f"window / (bare pair + made), {title}", 1.10, over)
        self.text += table(["volume layer", "window", "made", "bare pair of commands", "window / (pair + made)"], rows)

    def claim(self):
        self.section("Claiming a mount point", "claim_bench",
                     "Processor time of `claim`, entry point to return; *bare*: the same questions through the system "
                     "library.")
        rows = []
        for entries in (10**n for n in range(1, 6)):
            times = [self.of("claim_bench", f"{way}/{entries}") for way in ("claim", "bare")]
            rows.append([f"{entries:,} entries", *map(duration, times), ratio(times[0] / times[1])])
        self.text += table(["table", "claim", "bare", "claim / bare"], rows)

    def private_data(self):
        self.section("Private data of many nodes", "private_data_bench",
                     "Processor time to allocate, access and give back the data of every node, in shuffled order.")
        rows = []
        for nodes in (10**n for n in range(2, 6)):
            times = [self.of("private_data_bench", f"{way}/{nodes}") for way in ("factory", "bareMap")]
            rows.append([f"{nodes:,}", *map(duration, times), duration(times[0] / nodes), ratio(times[0] / times[1])])
            self.aim(f"factory / ordered map, {nodes:,} nodes", 1.20, times[0] / times[1])
        self.text += table(["nodes", "factory", "bare ordered map", "factory, a node", "factory / map"], rows)

    def blob(self):
        ways = ["write", "write_json", "restore", "restore_json"]
        self.section("A node's state as a blob", "blob_bench",
                     "Processor time of `process_providerstate`; a restore makes a new node and drops it again. *json*: "
                     "the same facts through nlohmann-json, without a node.")
        rows = []
        for length in (16, 256, 4096):
            times = [self.of("blob_bench", f"{way}/{length}") for way in ways]
            rows.append([f"{length:,} bytes", *map(duration, times), ratio(times[0] / times[1]),
                         ratio(times[2] / times[3])])
        self.text += table(["mount options", "write", "json", "restore", "json", "write / json", "restore / json"], rows)

    def memory(self, peaks):
        rows = [[f"`{program}`", f"`{case}`", f"{idle / 1024:.1f} MiB", f"{peak / 1024:.1f} MiB"]
                for program, case, idle, peak in peaks]
        self.text += "## Peak of memory\n\nResident (`VmHWM`) of a process that measures this case alone, and of one "
        self.text += "that starts and measures nothing.\n\n" + table(["program", "case", "nothing", "peak"], rows)

    def summary(self):
        rows = []
        for what, wanted, measured in self.aims:
            met = "–" if wanted is None else "yes" if measured <= wanted else "**no**"
            rows.append([what, "unchanged" if wanted is None else f"≤ {wanted:.2f}", ratio(measured), met])
        return "## Aims\n\n" + table(["ratio", "aim", "measured", "met"], rows)


def machine(load_before, options):
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    return (f"{datetime.date.today()}, Linux {platform.release()}, {os.cpu_count()} cores, {memory:.0f} GiB. "
            f"{options.rounds} rounds of {options.repetitions} repetitions. Load average at the start {load_before:.1f}, "
            f"at the end {os.getloadavg()[0]:.1f}"
            + (".\n\n" if max(load_before, os.getloadavg()[0]) < 1.5 else
               ": the machine had other work, so read the ratios and not the times.\n\n"))


def page(samples, peaks, skipped, load_before, options):
    result = Page(samples)
    for program, section in (("exec_bench", result.runner), ("mount_table_bench", result.mount_table),
                             ("frame_bench", result.frame), ("window_bench", result.window),
                             ("claim_bench", result.claim), ("private_data_bench", result.private_data),
                             ("blob_bench", result.blob)):
        if samples.has(program):
            section()
    result.memory(peaks)
    notes = "".join(f"Not measured: {reason}\n\n" for reason in skipped.values())
    return machine(load_before, options) + notes + result.summary() + result.text
