#!/usr/bin/env python3
"""Turns zxv_bench's Google Benchmark JSON output into bench/RESULTS.md.

    results_to_md.py RESULTS.json OUTPUT.md [--command TEXT] [--machine-note TEXT]

Benchmarks are named "Workload/Case/Contender".  Within a case, the first
contender whose name starts with "ZxVariant" is the reference: every row's
ratio is the reference's CPU time divided into the row's, so a ratio above 1
means ZxVariant is faster.  With repetitions, the fastest is shown and the
spread is the coefficient of variation.  Benchmarks stopped with "n/a: ..."
are listed as n/a; any other error is a failed verification, listed in its
table and in a section of its own, and makes this script exit with status 1
after writing the file.  Input that is not such JSON is refused with status 2
and nothing is written.
"""

import json
import math
import sys
from collections import OrderedDict

WORKLOADS = OrderedDict([
    ("JsonParse", ("1. JSON text to an in-memory value (parse)", "Document")),
    ("JsonWrite", ("1. In-memory value back to JSON text (write)", "Document")),
    ("Build", ("2. Build a record of N mixed nodes", "Tree")),
    ("Check", ("3. Check an untrusted block", "Data")),
    ("Relocate", ("4. Relocate (copy between addresses and forms)", "Data and operation")),
    ("Lookup", ("5. Look up a child by name among K children", "Children")),
    ("Walk", ("5. Walk all K children", "Children")),
    ("Tree", ("6. Seed a node tree, edit one leaf, export", "Data")),
])

NOTES = {
    "JsonParse": "Bytes per second count the document's UTF-8 size for every contender; items are JSON values. "
                 "ZxVariant, RapidJSON and nlohmann read the UTF-16 text; simdjson, FlexBuffers, GVariant "
                 "and libbson read the UTF-8 form of the same text (their only input). ZxVariant rounds every "
                 "number correctly (as strtod); RapidJSON's default flags use a faster approximation, so "
                 "RapidJSON.FullPrecision shows it doing the same work (the target is judged against the "
                 "default row).",
    "JsonWrite": "Bytes per second count the document's UTF-8 size. ZxVariant writes floats as %g (six "
                 "significant digits, as its format requires); the peers write round-trip digits, which "
                 "costs them more on canada.json.",
    "Build": "Items are nodes. Bytes per second count the finished block of the contenders that make one; "
             "RapidJSON and nlohmann build heap DOMs. \"named\": objects/maps with member names; "
             "\"unnamed\": arrays (ItemSpec nodes have no names).",
    "Check": "Bytes per second count each contender's own block (sizes in the Block column); items are values.",
    "Relocate": "Each case times ZxVariant and memcpy of the same bytes; the ratio is memcpy time / "
                "ZxVariant time (the target, within 2x of memcpy, is a ratio of at least 0.5).",
    "Lookup": "One operation is one lookup; the names are asked in a shuffled order that visits every "
              "member once per round.",
    "Walk": "One operation visits all K children and adds up their integer values. The reference is the "
            "documented First()/Next() chain; ZxVariant.Entries reads the same children through the entry "
            "array that List() exposes.",
    "Tree": "Items are the record's nodes.",
}


class BadInput(Exception):
    pass


def fail(message):
    raise BadInput(message)


def seconds_per_op(entry):
    units = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
    unit = entry.get("time_unit")
    if unit not in units:
        fail("benchmark %r has an unknown time_unit %r" % (entry.get("name"), unit))
    value = entry.get("cpu_time")
    if not isinstance(value, (int, float)) or value < 0:
        fail("benchmark %r has no valid cpu_time" % entry.get("name"))
    return value * units[unit]


def split_name(name):
    parts = name.split("/")
    if len(parts) < 3:
        fail("benchmark name %r is not Workload/Case/Contender" % name)
    # Google Benchmark appends "/iterations:1/repeats:1" and the like.
    while len(parts) > 3 and ":" in parts[-1]:
        parts.pop()
    if len(parts) != 3 or not all(parts):
        fail("benchmark name %r is not Workload/Case/Contender" % name)
    return parts


def load(path):
    try:
        with open(path, encoding="utf-8") as handle:
            data = json.load(handle)
    except OSError as error:
        fail("cannot read %s: %s" % (path, error))
    except json.JSONDecodeError as error:
        fail("%s is not JSON: %s" % (path, error))
    if not isinstance(data, dict) or not isinstance(data.get("context"), dict) or \
            not isinstance(data.get("benchmarks"), list):
        fail("%s is not Google Benchmark JSON output (no context or benchmarks)" % path)
    if not data["benchmarks"]:
        fail("%s holds no benchmark results" % path)
    return data


class Row:
    def __init__(self, contender, order):
        self.contender = contender
        self.order = order  # registration order (family_index), whatever order the runs came in
        self.runs = []      # (seconds per operation, bytes per second, items per second) per repetition
        self.median = None  # from the aggregate, used only when no single run was reported
        self.time = None
        self.cv = None
        self.bytes_rate = None
        self.items_rate = None
        self.block = None
        self.label = ""
        self.na = None
        self.error = None


def collect(data):
    """workload -> case -> contender -> Row, in registration order.

    With --benchmark_enable_random_interleaving the runs come in random
    order; Google Benchmark's family_index keeps the order of registration,
    which decides the reference of each case.  A row's time is its fastest
    repetition: interference from other work on the machine only ever adds
    time, so the fastest run is the best estimate of the work itself."""
    tables = OrderedDict()
    for position, entry in enumerate(data["benchmarks"]):
        if not isinstance(entry, dict) or "name" not in entry:
            fail("a benchmark entry has no name")
        run_name = entry.get("run_name", entry["name"])
        workload, case, contender = split_name(run_name)
        order = entry.get("family_index", position)
        if not isinstance(order, int):
            fail("benchmark %r has a family_index that is no integer" % run_name)
        row = tables.setdefault(workload, OrderedDict()).setdefault(case, OrderedDict()).setdefault(
            contender, Row(contender, order))
        row.order = min(row.order, order)
        if entry.get("error_occurred"):
            message = str(entry.get("error_message", "error"))
            if message.startswith("n/a:"):
                row.na = message[4:].strip()
            else:
                row.error = message
            continue
        if entry.get("run_type") == "aggregate":
            name = entry.get("aggregate_name")
            if name == "median":
                row.median = (seconds_per_op(entry), entry.get("bytes_per_second"), entry.get("items_per_second"))
            elif name == "cv":
                # The cv aggregate reports the coefficient in the time fields.
                row.cv = entry.get("cpu_time")
            continue
        row.runs.append((seconds_per_op(entry), entry.get("bytes_per_second"), entry.get("items_per_second")))
        if "block_bytes" in entry:
            row.block = entry["block_bytes"]
        if entry.get("label"):
            row.label = entry["label"]

    def first(rows):
        return min(row.order for row in rows.values())

    for workload in list(tables):
        cases = tables[workload]
        for case in list(cases):
            cases[case] = OrderedDict(sorted(cases[case].items(), key=lambda item: item[1].order))
        tables[workload] = OrderedDict(sorted(cases.items(), key=lambda item: first(item[1])))
    for cases in tables.values():
        for rows in cases.values():
            for row in rows.values():
                best = min(row.runs, key=lambda run: run[0]) if row.runs else row.median
                if best is not None:
                    row.time, row.bytes_rate, row.items_rate = best
                elif row.na is None and row.error is None:
                    fail("benchmark %s has neither a time nor an error" % row.contender)
    return tables


def reference(rows):
    for row in rows.values():
        if row.contender.startswith("ZxVariant"):
            return row
    return None


def ratio(row, ref):
    if row.time is None or ref is None or ref.time is None or ref.time == 0:
        return None
    return row.time / ref.time


def fmt_time(seconds):
    if seconds is None:
        return ""
    for unit, scale in (("s", 1.0), ("ms", 1e-3), ("µs", 1e-6)):
        if seconds >= scale:
            return "%.3g %s" % (seconds / scale, unit)
    return "%.3g ns" % (seconds / 1e-9)


def fmt_rate(value, unit):
    if value is None:
        return ""
    for prefix, scale in (("G", 1e9), ("M", 1e6), ("k", 1e3)):
        if value >= scale:
            return "%.3g %s%s/s" % (value / scale, prefix, unit)
    return "%.3g %s/s" % (value, unit)


def fmt_bytes(value):
    if value is None:
        return ""
    for prefix, scale in (("MB", 1e6), ("kB", 1e3)):
        if value >= scale:
            return "%.3g %s" % (value / scale, prefix)
    return "%d B" % value


def fmt_ratio(value):
    return "" if value is None else "%.2f" % value


def escape(text):
    return text.replace("|", "\\|")


def table(workload, cases, lines):
    title, case_header = WORKLOADS.get(workload, (workload, "Case"))
    lines.append("## " + title)
    lines.append("")
    if workload in NOTES:
        lines.append(NOTES[workload])
        lines.append("")
    has_block = any(row.block is not None for rows in cases.values() for row in rows.values())
    header = [case_header, "Contender", "Time/op", "Throughput", "Items/s"]
    if has_block:
        header.append("Block")
    header += ["Ratio", "Spread", "Notes"]
    lines.append("| " + " | ".join(header) + " |")
    lines.append("|" + "|".join("---" for _ in header) + "|")
    for case, rows in cases.items():
        ref = reference(rows)
        for row in rows.values():
            if row.na is not None:
                cells = ["n/a", "", ""] + ([""] if has_block else []) + ["n/a", "", escape(row.na)]
            elif row.error is not None:
                cells = ["FAILED", "", ""] + ([""] if has_block else []) + ["", "", "**" + escape(row.error) + "**"]
            else:
                cells = [fmt_time(row.time), fmt_rate(row.bytes_rate, "B"), fmt_rate(row.items_rate, "")]
                if has_block:
                    cells.append(fmt_bytes(row.block))
                mark = " (ref)" if row is ref else ""
                cells += [fmt_ratio(ratio(row, ref)) + mark,
                          "" if row.cv is None else "%.0f%%" % (100 * row.cv), escape(row.label)]
            lines.append("| " + " | ".join([escape(case), row.contender] + cells) + " |")
    lines.append("")


# Each target: workload, which cases, which rows to compare, how a ratio
# (peer time / ZxVariant time) passes, and how to say it.
TARGETS = [
    ("JSON parse at least as fast as RapidJSON", "JsonParse", lambda case: True,
     lambda c: c == "RapidJSON", lambda r: r >= 1.0),
    ("JSON write at least as fast as RapidJSON (both writers)", "JsonWrite", lambda case: True,
     lambda c: c.startswith("RapidJSON"), lambda r: r >= 1.0),
    ("Build through ItemSpec at least as fast as FlexBuffers", "Build", lambda case: "unnamed" in case,
     lambda c: c == "FlexBuffers", lambda r: r >= 1.0),
    ("Zero-based check faster than every peer's verifier", "Check", lambda case: True,
     lambda c: not c.startswith("ZxVariant"), lambda r: r > 1.0),
    ("Relocation within 2x of memcpy (ratio >= 0.5)", "Relocate", lambda case: True,
     lambda c: c == "memcpy", lambda r: r >= 0.5),
    ("Lookup no slower than any peer", "Lookup", lambda case: True,
     lambda c: not c.startswith("ZxVariant"), lambda r: r >= 1.0),
    ("Walk no slower than any peer", "Walk", lambda case: True,
     lambda c: not c.startswith("ZxVariant"), lambda r: r >= 1.0),
]


def targets(tables, lines):
    lines.append("## Targets")
    lines.append("")
    lines.append("Ratio = peer time ÷ ZxVariant time (the reference row of each case); the worst ratio "
                 "over the compared peers is shown with that peer.")
    lines.append("")
    lines.append("| Target | Case | ZxVariant row | Worst peer | Ratio | Met |")
    lines.append("|---|---|---|---|---|---|")
    summary = []
    for text, workload, case_filter, peer_filter, passes in TARGETS:
        met_all = None  # no case measured
        for case, rows in tables.get(workload, {}).items():
            if not case_filter(case):
                continue
            ref = reference(rows)
            compared = [(ratio(row, ref), row.contender) for row in rows.values()
                        if peer_filter(row.contender) and ratio(row, ref) is not None]
            if ref is None or not compared:
                continue
            worst, peer = min(compared)
            met = passes(worst)
            met_all = met if met_all is None else met_all and met
            lines.append("| %s | %s | %s | %s | %.3f | %s |" % (
                text, escape(case), ref.contender, peer, worst, "met" if met else "**not met**"))
        summary.append((text, met_all))
    lines.append("")
    return summary


def main(argv):
    args = argv[1:]
    options = {"--command": "", "--machine-note": ""}
    positional = []
    while args:
        arg = args.pop(0)
        if arg in options:
            if not args:
                fail("%s needs a value" % arg)
            options[arg] = args.pop(0)
        elif arg.startswith("-"):
            fail("unknown option %s" % arg)
        else:
            positional.append(arg)
    if len(positional) != 2:
        fail("usage: results_to_md.py RESULTS.json OUTPUT.md [--command TEXT] [--machine-note TEXT]")
    source, target = positional
    data = load(source)
    tables = collect(data)
    context = data["context"]

    lines = ["# ZxVariant benchmark results", ""]
    lines.append("Written by `bench/results_to_md.py` from one run of `zxv_bench` (every contender in the "
                 "same process run, on the same data). Re-run with `bench/run.sh`.")
    lines.append("")
    lines.append("- Date: %s" % context.get("date", "unknown"))
    caches = ", ".join("L%s %s %s KiB" % (c.get("level"), c.get("type", ""), c.get("size", 0) // 1024)
                       for c in context.get("caches", []) if isinstance(c, dict))
    lines.append("- Machine: %s, %s cores at %s MHz%s" % (
        context.get("cpu_model", "unknown CPU"), context.get("num_cpus", "?"),
        context.get("mhz_per_cpu", "?"), "; caches " + caches if caches else ""))
    load_avg = context.get("load_avg")
    if isinstance(load_avg, list) and load_avg:
        lines.append("- Load average when the run started: %s" % ", ".join("%.2f" % v for v in load_avg))
    if options["--machine-note"]:
        lines.append("- " + options["--machine-note"])
    lines.append("- Compiler: %s; build type %s (%s)" % (
        context.get("compiler", "unknown"), context.get("zxv_build_type", "?"),
        context.get("zxv_cxx_flags", "").strip()))
    lines.append("- Google Benchmark library: %s build (Debian package)" % context.get("library_build_type", "?"))
    lines.append("- Data: %s" % context.get("data", "unknown"))
    lines.append("- Documents: %s" % context.get("documents", "unknown"))
    lines.append("- Peers: %s" % context.get("peers", "unknown"))
    if options["--command"]:
        lines.append("- Command: `%s`" % options["--command"])
    lines.append("- Times are CPU time per operation, the fastest of the repetitions (interference from other "
                 "work only ever adds time); the repetitions ran in one random interleaved order, so bursts of "
                 "load fell on every contender alike. Spread is the coefficient of variation over the "
                 "repetitions. Each benchmark checked its contender's result before timing.")
    lines.append("")

    summary = targets(tables, lines)
    lines.insert(lines.index("## Targets") + 2, "Summary: " + "; ".join(
        "%s: %s" % (text, "not measured" if met is None else "met" if met else "NOT met")
        for text, met in summary) + ".")
    lines.insert(lines.index("## Targets") + 3, "")

    for workload in list(WORKLOADS) + [w for w in tables if w not in WORKLOADS]:
        if workload in tables:
            table(workload, tables[workload], lines)

    failures = [(w, c, row) for w, cases in tables.items() for c, rows in cases.items()
                for row in rows.values() if row.error is not None]
    if failures:
        lines.append("## Failed verifications")
        lines.append("")
        for workload, case, row in failures:
            lines.append("- %s/%s/%s: %s" % (workload, case, row.contender, row.error))
        lines.append("")

    with open(target, "w", encoding="utf-8") as handle:
        handle.write("\n".join(lines))
    return 1 if failures else 0


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv))
    except BadInput as error:
        sys.stderr.write("results_to_md.py: %s\n" % error)
        sys.exit(2)
