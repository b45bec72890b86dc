"""Every figure that this project holds itself to: how it is computed, its reference and its bound.

Read by bench/figures, which hands its Results `r` to each figure's functions. Times are in ns;
speeds are in what the row shows.
"""

import math
import pathlib

SCRIPTS = pathlib.Path(__file__).resolve().parent / "scripts"
KERNELS = ["saxpy", "mandelbrot", "blur", "histogram", "sum", "nbody", "blend"]
# Share of the datagrams lost: how many commands of 1 MB, and of 64 bytes, are sent.
LOSSES = {"0": (200, 100000), "0.01": (100, 40000), "0.05": (50, 40000)}
PACKETS_OF_1_MB = 749


def nanoseconds(value):
    for unit, size in [("s", 1e9), ("ms", 1e6), ("µs", 1e3)]:
        if value >= size:
            return f"{value / size:.3g} {unit}"
    return f"{value:.3g} ns"


def plain(unit):
    return lambda value: f"{value:.3g} {unit}"


def whole(unit):
    return lambda value: f"{value:,.0f} {unit}".strip()


speed = "{:.2f}".format


class Figure:
    """A row: what, ours, its reference, and a bound on their ratio or on our figure alone.

    A bound is ("at most" or "at least", number, "ratio" or "figure"), or None where none was set.
    """

    def __init__(self, what, ours, reference=None, named="", bound=None, show=nanoseconds):
        self.what, self.ours, self.reference, self.named = what, ours, reference, named
        self.bound, self.show = bound, show

    def row(self, results):
        """The row of the table; raises what the results raise."""
        ours = self.ours(results)
        theirs = self.reference(results) if self.reference else None
        ratio = ours / theirs if theirs else None
        reference = f"{self.named} {self.show(theirs)}" if theirs else self.named
        return (f"| {self.what} | {self.show(ours)} | {reference} | "
                f"{f'{ratio:.2f}' if theirs else ''} | {self.verdict(ours, ratio)} |")

    def verdict(self, ours, ratio):
        if self.bound is None:
            return ""
        side, limit, of = self.bound
        value = ratio if of == "ratio" else ours
        held = value <= limit if side == "at most" else value >= limit
        told = f"{limit:.2f}" if of == "ratio" else self.show(limit)
        return f"{side} {told}{'' if held else ' **behind**'}"


def at_most(limit, of="ratio"):
    return ("at most", limit, of)


def at_least(limit, of="ratio"):
    return ("at least", limit, of)


def ns(program, name):
    return lambda r: r.ns(program, name)


def each(program, name):
    return lambda r: r.each(program, name)


def field(program, name, field, scale=1.0):
    return lambda r: r.field(program, name, field) * scale


def megabytes(program, name):
    return field(program, name, "bytes_per_second", 1e-6)


def word(file, pattern, scale=1.0):
    return lambda r: r.word(file, pattern) * scale


def us_word(file, pattern):
    return word(file, pattern + r" +([\d.]+)", 1e3)


def total(*parts):
    return lambda r: sum(part(r) for part in parts)


def decks():
    yield Figure("a line, fed and published to two listeners", each("deck", "session_feed"),
                 each("deck", "guard_and_parse"), "guard and parse alone", at_most(1.30))
    for i, style in enumerate(["blue", "rgb", "3band"]):
        yield Figure(f"six minutes of {style} columns", ns("track", f"detail_decode/{i}"),
                     total(ns("track", f"detail_copy/{i}"), ns("track", f"detail_arithmetic/{i}")),
                     "copy and arithmetic", at_most(2))
        yield Figure("the same, bytes in and out", megabytes("track", f"detail_decode/{i}"),
                     megabytes("track", f"detail_copy/{i}"), "copy", show=whole("MB/s"))
        yield Figure(f"a whole track of six minutes, {style}", ns("track", f"whole_track/{i}"),
                     bound=at_most(3e6, "figure"))
    yield Figure("`deck_texture`", ns("track", "deck_texture"), bound=at_most(1e6, "figure"))
    yield Figure("`snapshot` of six players", ns("deck", "snapshot_of_six"),
                 bound=at_most(150e3, "figure"))
    for millions in [1, 5, 10]:
        churn = "memory_of_ten_million_lines"
        yield Figure(f"resident after {millions},000,000 lines",
                     field("memory", churn, f"MiB_{millions}M"),
                     field("memory", churn, "MiB_0.1M"), "after 100,000:", at_most(1.05),
                     plain("MiB"))
    yield Figure("a frame of visuals in a script", ns("binding", "visuals_frame"),
                 bound=at_most(300e3, "figure"))
    yield Figure("a frame with `deck_texture` as a value", ns("binding", "texture_to_value"),
                 total(ns("binding", "texture_alone"), ns("binding", "idle_frame")),
                 "the texture, and a frame")
    for fps in [60, 1000]:
        file = f"beat_{fps}.txt"
        yield Figure(f"beat to callback, our part, {fps} frames a second, median",
                     us_word(file, "ours +median"), bound=at_most(200e3, "figure"))
        yield Figure("the same, 99th percentile", us_word(file, "ours .*p99"))
        yield Figure("byte to callback with the wait for the frame, median",
                     us_word(file, "byte to callback +median"))
        yield Figure("the same, 99th percentile", us_word(file, "byte to callback .*p99"))


def engine():
    for burst in [8, 64]:
        yield Figure(f"pooled variables, bursts of {burst}", ns("runtime", f"from_pool/{burst}"),
                     ns("runtime", f"from_malloc/{burst}"), "`malloc`, `free`", at_most(1))
    names = {2: "int", 3: "float", 5: "string", 7: "json"}
    for what, kinds in [("add", [2, 3, 5]), ("compare", [2, 3, 5, 7]), ("assign", [2, 5, 7])]:
        for kind in kinds:
            yield Figure(f"{what}, {names[kind]}", ns("runtime", f"{what}/{kind}"))
    def luac(r):
        return r.ns("frontend", "luac_of_equal_code", "real_time")

    yield Figure("1 MB of script to its tree", ns("frontend", "source_to_tree"),
                 luac, "`luac -p`", at_most(1))
    yield Figure("the same, bytes", megabytes("frontend", "source_to_tree"),
                 megabytes("frontend", "luac_of_equal_code"), "`luac -p`", show=whole("MB/s"))
    yield Figure("the same, tokens", field("frontend", "source_to_tree", "items_per_second", 1e-6),
                 show=plain("million a second"))
    yield Figure("1 MB of script to its program", ns("frontend", "source_to_program"),
                 luac, "`luac -p`")
    yield Figure("strict check of 10,000 lines", ns("frontend", "strict_check_of_10000_lines"),
                 ns("frontend", "compile_of_10000_lines"), "their compile", at_most(1))
    for name in ["calls", "arithmetic", "members", "appends"]:
        yield Figure(f"allocations in 100,000 warm turns of {name}",
                     field("allocations", f"allocations_of/{name}", "mallocs"),
                     bound=at_most(0, "figure") if name != "appends" else None, show=whole(""))


def scripts():
    yield Figure("geometric mean", word("scripts.txt", r"geometric mean +([\d.]+)"), None,
                 "Lua 5.4 as 1", at_least(1.15, "figure"), speed)
    for path in sorted(SCRIPTS.glob("*.tvio")):
        bound = at_least(1, "figure") if path.stem in ("lists", "maps", "sieve") else None
        yield Figure(path.stem, word("scripts.txt", rf"(?m)^{path.stem} .* ([\d.]+)$"), None,
                     "Lua 5.4 as 1", bound, speed)


def objects():
    yield Figure("JSON: parse 9.3 MB into values", ns("stdobj", "parse"),
                 ns("stdobj", "parse_reference"), "nlohmann", at_most(1.6))
    for i, form in enumerate(["compact", "indented"]):
        yield Figure(f"JSON: print, {form}", ns("stdobj", f"print/{i}"),
                     ns("stdobj", f"print_reference/{i}"), "nlohmann", at_most(4))
    for what in ["insert", "look_up"]:
        for keys in [10, 1000, 100000]:
            yield Figure(f"json: {what.replace('_', ' ')}, {keys:,} keys, each",
                         each("stdobj", f"{what}/{keys}"),
                         each("stdobj", f"{what}_reference/{keys}"), "`unordered_map`",
                         at_most(1.5))
    for key in ["number", "text"]:
        yield Figure(f"`sort_by` of 100,000, {key}s", ns("stdobj", f"sort_by_{key}"),
                     ns("stdobj", f"sort_by_{key}_reference"), "`stable_sort`", at_most(2))
    for i, content in enumerate(["100,000 ints", "10,000 maps", "a buffer of 8 MB"]):
        for way in ["encode", "decode"]:
            yield Figure(f"binary form: {way} {content}", megabytes("stdobj", f"{way}/{i}"),
                         megabytes("stdobj", f"copy/{i}"), "copy", show=whole("MB/s"))
    for name in ["find_absent", "find_far", "count", "replace_longer", "replace_char",
                 "split_lines", "split_commas", "split_words", "lowercase"]:
        yield Figure(f"string: {name.replace('_', ' ')}, 1 MB",
                     word("strings.txt", rf"(?m)^{name} +([\d.]+) us", 1e3),
                     word("strings.txt", rf"(?m)^{name} .* ([\d.]+) us +[\d.]+$", 1e3),
                     "CPython's `str`")


def kernel(engine_name, name):
    """How fast beside C on one thread; processor time where one thread works."""
    clock = "real_time" if engine_name.endswith("all_threads") else "cpu_time"
    return lambda r: (r.ns("kernel", f"C/{name}/real_time", clock)
                      / r.ns("kernel", f"{engine_name}/{name}/real_time", clock))


def all_kernels(engine_name):
    """Their geometric mean."""
    return lambda r: math.exp(sum(math.log(kernel(engine_name, name)(r)) for name in KERNELS)
                              / len(KERNELS))


def picture(effect):
    name = f"{effect}_1920x1080/process_time/real_time"
    return lambda r: r.each("kernel", name) * 1920 * 1080


def kernels():
    of_c = "C, `gcc -O2`, one thread, as 1"
    yield Figure("native, one thread, geometric mean of seven", all_kernels("native"), None, of_c,
                 at_least(0.66, "figure"), speed)
    yield Figure("native, all threads", all_kernels("native_all_threads"),
                 all_kernels("C_all_threads"), "C on all threads", at_least(1.29, "figure"), speed)
    for form, least in [("avx512", 0.70), ("avx2", None), ("plain", 0.44)]:
        yield Figure(f"lock-step, {form}", all_kernels(f"batch_{form}"), None, of_c,
                     at_least(least, "figure") if least else None, speed)
    yield Figure("one by one", all_kernels("scalar"), None, of_c, at_least(0.16, "figure"), speed)
    for name in KERNELS:
        yield Figure(f"{name}, native", kernel("native", name), None, of_c, None, speed)
        yield Figure(f"{name}, lock-step, avx512", kernel("batch_avx512", name), None, of_c, None,
                     speed)
    yield Figure("an instruction one by one (ADD_F32)", each("kernel", "scalar/ADD_F32"),
                 bound=at_most(0.9, "figure"))
    for form, most in [("avx512", 3), ("avx2", 5)]:
        yield Figure(f"an addition over 64 lanes, {form}", each("kernel", f"batch_{form}/ADD_F32"),
                     each("kernel", f"bare_{form}/ADD_F32"), "bare loop in C",
                     at_most(most, "figure"))
    for way in ["native", "batch"]:
        for gids, most in [(1, 5e3), (65536, 100e3)]:
            name = f"time_launch/{way}_{gids}/real_time"
            yield Figure(f"launch of an empty kernel, {way}, gids: {gids:,}",
                         lambda r, n=name: r.ns("kernel", n, "real_time"),
                         bound=at_most(most, "figure"))
    yield Figure("launch from a script, four arguments",
                 each("kernel", "time_script_launch/script_1/real_time"),
                 bound=at_most(10e3, "figure"))
    yield Figure("an effect on 1920 by 1080 from a script, elapsed", picture("script_effect"),
                 picture("C_effect"), "the loop in C, as many threads", at_most(1.5))


def processor_time(file, packets=1):
    """Of both processes and the kernel, for a packet of one of the messages that were sent."""
    count, used = r"\$ .*(?:stream|bare_sockets) \d+ (\d+)", r"processor time ([\d.]+)"
    return lambda r: r.word(file, used) / r.word(file, count) / packets * 1e9


def network():
    megabytes_a_second, messages = r"([\d.]+) MB/s", r"([\d.]+) msg/s"
    for loss, times in zip(LOSSES, [1, 2, 10]):
        lost = f"{float(loss):.0%} lost"
        large = [word(f"{who}_large_{loss}.txt", megabytes_a_second)
                 for who in ["bench_net", "enet_twin"]]
        yield Figure(f"commands of 1 MB, {lost}", *large, "ENet", at_least(times), whole("MB/s"))
        yield Figure("the same, beside bare sockets", large[0],
                     word("bare.txt", megabytes_a_second), "nothing lost", None, whole("MB/s"))
        yield Figure(f"commands of 64 bytes, {lost}",
                     word(f"bench_net_small_{loss}.txt", messages),
                     word(f"enet_twin_small_{loss}.txt", messages), "ENet",
                     at_least(7) if loss == "0.05" else None, whole("a second"))
        for which, name in [("median", "median"), ("99th percentile", "p99")]:
            bounded = loss == "0.05" and name == "p99"
            yield Figure(f"question and answer, {lost}, {which}",
                         us_word(f"bench_net_rtt_{loss}.txt", name),
                         us_word(f"enet_twin_rtt_{loss}.txt", name), "ENet",
                         at_most(8e6, "figure") if bounded else None)
    yield Figure("processor time of a packet, in commands of 1 MB",
                 processor_time("bench_net_large_0.txt", PACKETS_OF_1_MB),
                 processor_time("bare.txt"), "bare sockets")
    yield Figure("processor time of a command of 64 bytes",
                 processor_time("bench_net_small_0.txt"),
                 processor_time("enet_twin_small_0.txt"), "ENet")
    yield Figure("a line from the relay to the session, median", us_word("relay.txt", "median"))
    yield Figure("the same, 99th percentile", us_word("relay.txt", "p99"))
    yield Figure("hashing a full packet", ns("net", "seal_packet/1336"))
    yield Figure("judging one that came in", ns("net", "classify_packet/1336"))
    yield Figure("a command of 64 bytes, both nodes, all acks",
                 each("net", "command_between_nodes/64"))


GROUPS = {"Decks": decks, "Engine": engine, "Scripts: speed": scripts, "Objects": objects,
          "Kernels: speed, launches": kernels, "Network": network}
