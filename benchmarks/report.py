"""Writes docs/benchmarks.md and its plots from the results of benchmarks/run.

Usage: report.py RESULTS DOCS
"""

import glob
import json
import os
import platform
import re
import statistics
import subprocess
import sys

SIZES = {1024: "1 KB", 51200: "50 KB", 10485760: "10 MB"}
PARSERS = {
    "library": "the library",
    "bare": "bare parser, cached grammar",
    "per_package": "bare parser, set up per package",
    "libxml2": "libxml2, compiled schema",
    "xsdcxx": "xsdcxx tree binding",
}


def lines(path):
    with open(path, encoding="utf-8") as file:
        return [json.loads(line) for line in file if line.strip()]


def rounds(pattern, key):
    """The times in nanoseconds of each benchmark: a list per process."""
    scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
    times = {}
    paths = sorted(glob.glob(pattern))
    for process, path in enumerate(paths):
        with open(path, encoding="utf-8") as file:
            for entry in json.load(file)["benchmarks"]:
                if entry.get("run_type") == "iteration" and not entry.get("error_occurred"):
                    name = re.sub(r"/real_time/threads:\d+$", "", entry["run_name"])
                    lists = times.setdefault(name, [[] for _ in paths])
                    lists[process].append(entry[key] * scale[entry["time_unit"]])
    return times


def median_of(times, name):
    """Not a number when an unfinished run has no such benchmark."""
    values = [value for process in times.get(name, []) for value in process]
    return statistics.median(values) if values else float("nan")


def ratio(times, name, base):
    """Median of the processes' ratios of their fastest rounds, and the minimum and maximum of them."""
    ratios = [
        min(own) / min(other)
        for own, other in zip(times.get(name, []), times.get(base, []))
        if own and other
    ]
    if not ratios:
        return float("nan"), float("nan"), float("nan")
    return statistics.median(ratios), min(ratios), max(ratios)


def shown(nanoseconds):
    for unit, factor in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= factor:
            return f"{nanoseconds / factor:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def table(head, rows):
    text = "| " + " | ".join(head) + " |\n|" + "---|" * len(head) + "\n"
    return text + "".join("| " + " | ".join(row) + " |\n" for row in rows) + "\n"


def version(command):
    try:
        result = subprocess.run(command, capture_output=True, text=True, check=False)
    except OSError:
        return "unknown"
    return (result.stdout or result.stderr).strip().splitlines()[0] if result.stdout or result.stderr else "unknown"


def package_version(name):
    return version(["dpkg-query", "--show", "--showformat=${Version}", name])


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        return next((line.split(":")[1].strip() for line in file if line.startswith("model name")), platform.machine())


def memory_gib():
    return os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30


def machine_section(load):
    packages = ["libxerces-c-dev", "libxml2-dev", "xsdcxx", "libbenchmark-dev", "libspdlog-dev", "libboost1.81-dev", "libzmq3-dev",
                "uuid-dev"]
    rows = [
        ["processor", f"{processor()}, {os.cpu_count()} cores"],
        ["memory", f"{memory_gib():.0f} GiB"],
        ["system", f"Linux {platform.release()}, C library {' '.join(platform.libc_ver())}"],
        ["compiler", version(["c++", "--version"])],
        ["load at the end of the runs", load],
    ] + [[name, package_version(name)] for name in packages]
    return "## Machine and versions\n\nOf the sections that do not name a machine themselves.\n\n" + table(["", ""], rows)


def parse_section(times, package):
    rows = []
    for parser, title in PARSERS.items():
        row = [title]
        for size in SIZES:
            name = f"{package}/{parser}/{size}"
            if parser == "bare":
                row.append(f"1 ({shown(median_of(times, name))})")
            else:
                middle, low, high = ratio(times, name, f"{package}/bare/{size}")
                row.append(f"{middle:.3f} ({low:.3f} to {high:.3f})")
        rows.append(row)
    return f"### {package.capitalize()} packages\n\n" + table(["parser"] + list(SIZES.values()), rows)


def turns(pattern):
    """The ratios that parse_ratio printed, by the names of its rows: a list of one per process."""
    ratios = {}
    for path in sorted(glob.glob(pattern)):
        with open(path, encoding="utf-8") as file:
            for line in file:
                row = re.match(r"(.+?, \d+ [KM]B) +[\d.]+ +[\d.]+ +([\d.]+) +\(", line)
                if row:
                    ratios.setdefault(row[1], []).append(float(row[2]))
    return ratios


def turns_section(ratios):
    rows = []
    for package in ("valid", "wrong value", "missing element", "not closed"):
        row = [package]
        for size in SIZES.values():
            values = ratios.get(f"{package}, {size}", [float("nan")])
            row.append(f"{statistics.median(values):.3f} ({min(values):.3f} to {max(values):.3f})")
        rows.append(row)
    return (
        "### The library and the bare parser, alternating\n\n"
        "The same ratio, more exactly: the two alternate after about two milliseconds (one parse of 10 MB), so that what disturbs "
        "the one disturbs the other. The median of the ratios of all pairs.\n\n"
    ) + table(["package"] + list(SIZES.values()), rows)


# Which part of a parse a function of Xerces-C belongs to, by its class; the first that fits.
PROFILE_PARTS = [
    ("Xerces-C's scanner: reading, decoding, tags, namespaces, buffers",
     r"Scanner|ReaderMgr|XMLReader|ElemStack|Transcoder|XMLBuffer|BinMemInput|MemBufInput|QName|XMLAttr\b|KVStringPair|InputSource"
     r"|XMLStringPool|XMLChar|XMLEntityHandler"),
    ("Xerces-C's validator: content models, types, patterns, grammar",
     r"Validator|ContentModel|Validation|RegularExpression|RangeToken|Grammar|SchemaElementDecl|SchemaAttDef|ComplexTypeInfo"
     r"|XMLAbstractDoubleFloat|XMLDouble|XMLFloat|XMLBigDecimal|XMLDateTime|Token|RegxUtil|Match|ContentSpec|XMLInternal"
     r"|IdentityConstraint|FieldActivator|XPathMatcher|ValueStackOf|BitSet|XSD|AttDef|XMLNumber"),
    ("Xerces-C's document: memory and constructors of the nodes, release", r"DOM"),
    ("Xerces-C's containers, strings and memory, for scanner and validator", r"xercesc_3_2::"),
    ("the library: checks, names, nodes and their links", r"Drelvan::|benchmarks::"),
]


def profile_part(function):
    # The class and the name alone: arguments have classes too.
    name = function.split("(")[0]
    return next((part for part, pattern in PROFILE_PARTS if re.search(pattern, name)),
                "C and C++ library: memory, copies, numbers")


def profile_section(path):
    """What callgrind_annotate printed of parse_profile."""
    shares, total, dynamic_casts = {}, 0, 0
    with open(path, encoding="utf-8") as file:
        for line in file:
            row = re.match(r"\s*([\d,]+) \([ \d.]+%\)\s+[^:]*?:(.+?)(?: \[.*\])?$", line)
            if row:
                count = int(row[1].replace(",", ""))
                shares[profile_part(row[2])] = shares.get(profile_part(row[2]), 0) + count
                dynamic_casts += count if "dynamic_cast" in row[2] else 0
                total += count
    rows = [[part, f"{100 * count / total:.1f} %"] for part, count in sorted(shares.items(), key=lambda item: -item[1])]
    return (
        "### Where the instructions of a parse go\n\n"
        "Of the library, for a valid package of 50 KB, counted by callgrind. "
        f"{100 * dynamic_casts / total:.1f} % are of `dynamic_cast`, by which Xerces-C's parser finds the members of nodes.\n\n"
    ) + table(["part", "share"], rows)


def names_section(path):
    """What name_costs printed."""
    rows = []
    with open(path, encoding="utf-8") as file:
        for line in file:
            row = re.match(r"(.+?) +(\d+) +([\d.]+) (\w+) +([\d.]+) (\w+) +([\d.]+)$", line)
            if row:
                rows.append([row[1], f"{float(row[3]):.2f} ms, {row[4]}", f"{float(row[5]):.2f} ms, {row[6]}", row[7]])
    return (
        "## Names of one hash\n\n"
        "Documents whose names all have the same hash in Xerces-C's tables, compared with the same documents with other "
        "names of the same length; not validated, unless it is said.\n\n"
    ) + table(["document", "other names", "names of one hash", "ratio"], rows)


def set_up_sentence(times):
    middle, low, high = ratio(times, "valid/per_package/1024", "valid/library/1024")
    return (
        f"At 1 KB the library is {middle:.1f} times ({low:.1f} to {high:.1f}) as fast as the bare parser that is set up "
        "for each package.\n\n"
    )


def memory_section(entries):
    text = "## Memory and allocations of one parse\n\n"
    text += "The maximum resident size above that before the parse, each in a fresh process, and the number of allocations."
    text += " That of 1 KB is code which the process executes for the first time: its heap does not grow.\n\n"
    for package in ("valid", "invalid"):
        rows = []
        for parser, title in PARSERS.items():
            row = [title]
            for size in SIZES:
                entry = next(e for e in entries if (e["parser"], e["size"], e["package"]) == (parser, size, package))
                row.append(f"{entry['peak_kib']:,} KiB, {entry['allocations']:,}")
            rows.append(row)
        text += f"### {package.capitalize()} packages\n\n" + table(["parser"] + list(SIZES.values()), rows)
    return text


def fragments_section(times):
    rows = []
    for parser in ("library", "bare", "per_package", "libxml2"):
        names = [f"fragments/{parser}/{count}" for count in (0, 10, 100)]
        rows.append([PARSERS[parser]] + [shown(median_of(times, name)) for name in names])
    text = "## Number of registered fragments\n\nA valid package of 1 KB, with this number of additional fragments.\n\n"
    return text + table(["parser", "0", "10", "100"], rows)


def threads_section(times):
    rows = []
    for parser, title in (("library", "the library, one instance"), ("bare", "bare parser, one per thread")):
        rates = [1e9 / median_of(times, f"threads/{parser}/{count}") for count in (1, 2, 4, 8)]
        rows.append([title] + [f"{rate:,.0f}/s" for rate in rates])
    text = "## Threads\n\nValid packages of 1 KB per second, by the clock. The library's parses are serialised; the bare parser "
    return text + "is not safe for threads, so each thread has one.\n\n" + table(["parser", "1", "2", "4", "8"], rows)


def values_section(times):
    pairs = [
        ("`UniqueID::generateId`", "id/generateId", "`uuid_generate_random` and `uuid_unparse`", "id/libuuid"),
        ("`HostInfo::isIp`, an address", "address/isIp", "`inet_pton`", "address/inet_pton"),
        ("`HostInfo::isIp`, a name", "name/isIp", "`inet_pton`", "name/inet_pton"),
    ]
    rows = []
    for own, name, other, base in pairs:
        middle, low, high = ratio(times, name, base)
        rows.append(
            [own, shown(median_of(times, name)), other, shown(median_of(times, base)), f"{middle:.2f} ({low:.2f} to {high:.2f})"]
        )
    text = "## Ids and addresses\n\nAn id has 192 random bits here and 122 there; `isIp` accepts more forms than `inet_pton` does.\n\n"
    return text + table(["operation", "time", "compared with", "time", "ratio"], rows)


def packages_section(pattern):
    """From the lines that packages_benchmark printed, one file per process."""
    rows = {}
    for path in sorted(glob.glob(pattern)):
        with open(path, encoding="utf-8") as file:
            for line in file:
                row = re.match(r"(.+?, \d+ [KM]B) +([\d.]+) +([\d.]+) +([\d.]+) +\(", line)
                if row:
                    rows.setdefault(row[1], []).append([float(value) for value in row.groups()[1:]])
    table_rows = []
    for name, values in rows.items():
        hand, own, ratios = zip(*values)
        table_rows.append([name, shown(1e3 * statistics.median(hand)), shown(1e3 * statistics.median(own)),
                           f"{statistics.median(ratios):.3f} ({min(ratios):.3f} to {max(ratios):.3f})"])
    text = (
        "## Packages as values\n\n`PackageDocument`, `ElementReader` and `PackageWriter` compared with the same by hand: every "
        "value read with `XmlUtils` and Xerces-C, and written to a string stream. Alternating, as above; a parse takes most of "
        "the time of the first row.\n\n"
    )
    return text + table(["what", "by hand", "library", "ratio"], table_rows)


def copy_row(name, entries):
    ratios = [entry["library_s"] / entry["cp_s"] for entry in entries]
    own = statistics.median(entry["library_s"] for entry in entries)
    other = statistics.median(entry["cp_s"] for entry in entries)
    return [
        name,
        shown(1e9 * own),
        shown(1e9 * other),
        f"{statistics.median(ratios):.2f} ({min(ratios):.2f} to {max(ratios):.2f})",
    ]


def copy_section(entries):
    names = list(dict.fromkeys(entry["file"] for entry in entries))
    rows = [copy_row(name, [entry for entry in entries if entry["file"] == name]) for name in names]
    head = ["file", "`FileUtilities::copyFile`", "`cp` and `sync` of the target", "ratio"]
    return f"## Copies\n\n{len(entries) // len(names)} rounds, alternating.\n\n" + table(head, rows)


def soak_section(entries):
    rows = [
        [e["soak"], f"{e['packages']:,}", f"{e['growth_kib']} KiB", str(e["lost_entries"]), str(e["wrong_answers"])]
        for e in entries
    ]
    head = ["packages", "number", "growth of memory", "lost log entries", "wrong answers"]
    return "## Long runs\n\nGrowth of the resident size after a fiftieth of the run.\n\n" + table(head, rows)


def middle(figures):
    """The median of figures with a unit each."""
    return sorted(figures, key=lambda figure: float(re.match(r"[\d.]+", figure).group()))[len(figures) // 2]


def sweep_section(path):
    """From the lines that sweep-benchmark printed."""
    rows = []
    figures = {}
    load = None
    stolen = None
    with open(path, encoding="utf-8") as file:
        for line in file:
            measured = re.match(
                r"(.+?) +(\d+) times +([\d.]+)/s +([\d.]+) us median +([\d.]+) us 99th percentile", line
            )
            if measured:
                what, count, rate, median, slowest = measured.groups()
                rows.append(
                    [what, count, f"{float(rate):,.0f}/s", shown(1e3 * float(median)), shown(1e3 * float(slowest))]
                )
                continue
            what, figure = line.rstrip("\n").rsplit(": ", 1)
            if what == "load of the machine":
                load = figure
            elif what == "taken by the host":
                stolen = figure
            else:
                figures.setdefault(what, []).append(figure)
    text = (
        "## A whole service\n\nThe programs of `examples/parameter_sweep`, by the clock, all on one machine "
        f"({processor()}, {os.cpu_count()} cores): one client and one server over loopback, compared with the parsing of "
        "the same packages alone and the bare start of a process."
    )
    if load:
        text += f" The load of the machine was {load}."
    if stolen and not stolen.startswith("0 s "):
        text += f" Its host gave {stolen} to other machines, which lengthens every wait."
    text += "\n\n" + table(["what", "times", "rate", "median", "99th percentile"], rows)
    text += (
        "Many clients, many jobs and one large sweep. Of what was measured several times, the median.\n\n"
    )
    return text + table(["what", "measured"], [[what, middle(measured)] for what, measured in figures.items()])


def replace_sweep_section(results, docs):
    """Writes the section anew into the page as it is."""
    with open(f"{docs}/benchmarks.md", encoding="utf-8") as file:
        before, rest = file.read().split("## A whole service\n", 1)
    after = rest[rest.index("\n## ") + 1 :]
    with open(f"{docs}/benchmarks.md", "w", encoding="utf-8") as file:
        file.write(before + sweep_section(f"{results}/sweep.txt").rstrip("\n") + "\n\n" + after)


def plot(path, title, axes, series, logarithmic):
    script = f"set terminal svg size 720,420 background 'white'\nset output '{path}'\nset title '{title}'\n"
    script += f"set xlabel '{axes[0]}'\nset ylabel '{axes[1]}'\nset key outside right\nset grid\n{logarithmic}\n"
    script += "plot " + ", ".join(f"'-' using 1:2 with linespoints lw 2 title '{name}'" for name in series) + "\n"
    for points in series.values():
        script += "".join(f"{x} {y}\n" for x, y in points) + "e\n"
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def draw(times, folder):
    os.makedirs(folder, exist_ok=True)
    for package in ("valid", "invalid"):
        series = {}
        for parser, title in PARSERS.items():
            sizes = sorted(int(name.split("/")[2]) for name in times if name.startswith(f"{package}/{parser}/"))
            series[title] = [(size / 1024, median_of(times, f"{package}/{parser}/{size}") / 1e3) for size in sizes]
        plot(f"{folder}/{package}.svg", f"Processor time of a parse, {package} packages", ("KB", "µs"), series,
             "set logscale xy")
    series = {}
    for parser in ("library", "bare", "per_package", "libxml2"):
        series[PARSERS[parser]] = [(n, median_of(times, f"fragments/{parser}/{n}") / 1e3) for n in (0, 10, 100)]
    plot(f"{folder}/fragments.svg", "Processor time by registered fragments, 1 KB", ("fragments", "µs"), series,
         "set logscale y")


def main(results, docs):
    processor_times = rounds(f"{results}/parse-*.json", "cpu_time")
    clock_times = rounds(f"{results}/parse-*.json", "real_time")
    value_times = rounds(f"{results}/values-*.json", "cpu_time")
    processes = len(glob.glob(f"{results}/parse-*.json"))
    text = (
        "# Benchmarks\n\nWritten by `benchmarks/run`; do not edit.\n\n"
        "The packages are `DV_RequestScript`s with job ids, hosts and parameter vectors; an invalid one lacks one element, halfway. "
        "The library is called with a string, its log at the default level, standard error redirected to /dev/null. Times are processor "
        f"times; ratios are the medians of {processes} processes, in each that of the fastest rounds of all parsers in random order; in "
        "brackets the minimum and maximum of the processes. Freed memory stays with the process.\n\n"
        "## Time of a parse, as a multiple of the bare parser's\n\n"
        "The bare parser has the library's settings and the same cached grammar, and only records whether an error was "
        "reported. It is the baseline, 1.\n\n"
    )
    if os.path.exists(f"{results}/notes.txt"):
        with open(f"{results}/notes.txt", encoding="utf-8") as file:
            text = text.replace("## Time of a parse", file.read() + "\n## Time of a parse", 1)
    for package in ("valid", "invalid"):
        text += parse_section(processor_times, package) + f"![{package} packages](benchmarks/{package}.svg)\n\n"
    text += turns_section(turns(f"{results}/ratio-*.txt")) + set_up_sentence(processor_times)
    if os.path.exists(f"{results}/profile.txt"):
        text += profile_section(f"{results}/profile.txt")
    text += names_section(f"{results}/names.txt")
    text += memory_section(lines(f"{results}/memory.jsonl"))
    text += fragments_section(processor_times) + "![fragments](benchmarks/fragments.svg)\n\n"
    text += threads_section(clock_times) + packages_section(f"{results}/packages-*.txt") + values_section(value_times)
    text += copy_section(lines(f"{results}/copy.jsonl")) + soak_section(lines(f"{results}/soak.jsonl"))
    text += sweep_section(f"{results}/sweep.txt")
    os.makedirs(f"{docs}/benchmarks", exist_ok=True)
    load = " ".join(f"{value:.1f}" for value in os.getloadavg())
    text += machine_section(load)
    with open(f"{docs}/benchmarks.md", "w", encoding="utf-8") as file:
        file.write(text.rstrip("\n") + "\n")
    draw(processor_times, f"{docs}/benchmarks")


if __name__ == "__main__":
    if sys.argv[1] == "--sweep":
        replace_sweep_section(*sys.argv[2:])
    else:
        main(*sys.argv[1:])
