// What a packet costs before and behind the system's calls.

#include <benchmark/benchmark.h>

#include <vector>

#include "../../tests/net/sim_node.h"
#include "net/hash.h"
#include "net/kv_record.h"

using namespace net_test;

namespace {

// A plain copy of the same bytes is the reference.
void copy_payload(benchmark::State& run) {
    const std::vector<uint8_t> from(size_t(run.range(0)), 1);
    std::vector<uint8_t> to(from.size());
    for (auto _ : run) {
        std::copy(from.begin(), from.end(), to.begin());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    run.SetBytesProcessed(run.iterations() * run.range(0));
}
BENCHMARK(copy_payload)->Arg(64)->Arg(1336);

void seal_packet(benchmark::State& run) {
    tvrnet_pkt p;
    p.header.type = tvrnet_pkt_type::data;
    p.header.payload_size = uint32_t(run.range(0));
    p.payload.fill(1);
    for (auto _ : run) benchmark::DoNotOptimize(p.packet_end());
    run.SetBytesProcessed(run.iterations() * run.range(0));
}
BENCHMARK(seal_packet)->Arg(64)->Arg(1336);

void classify_packet(benchmark::State& run) {
    tvrnet_pkt p;
    p.header.type = tvrnet_pkt_type::data;
    p.header.source = tvrnet_made_up_mac(1);
    p.header.payload_size = uint32_t(run.range(0));
    p.payload.fill(1);
    const size_t length = p.packet_end();
    const tvrnet_adr own{{{10, 0, 0, 1}, 6454}, tvrnet_made_up_mac(2)};
    auto* bytes = reinterpret_cast<uint8_t*>(&p);
    if (tvrnet_classify(own, {}, bytes, length) != tvrnet_pkt_type::data) run.SkipWithError("lost");
    for (auto _ : run) benchmark::DoNotOptimize(tvrnet_classify(own, {}, bytes, length));
    run.SetBytesProcessed(run.iterations() * run.range(0));
}
BENCHMARK(classify_packet)->Arg(64)->Arg(1336);

// Both nodes' whole work for a command, with a network in memory between them.
void command_between_nodes(benchmark::State& run) {
    sim_pair pair;
    int64_t heard = 0;
    pair.b.add_command("line", [&](const tvrnet_ip&, const uint8_t*, size_t,
                                   const tvrnet_pkt_header&) { heard++; });
    if (!pair.meet()) return run.SkipWithError("the nodes do not meet");
    pair.run(100);
    const auto device = pair.a.peer(pair.b.mac());
    const std::vector<uint8_t> data(size_t(run.range(0)), 1);
    int64_t sent = 0;
    for (auto _ : run) {
        for (int n = 0; n < 64; n++, sent++) {
            device->send_reliable("line", data.data(), data.size(), tvrnet_pkt_dataformat::buffer,
                                  false, 0);
        }
        while (device->commands_on_their_way() > 0) pair.run(1);
    }
    if (heard != sent) run.SkipWithError("not every command arrived once");
    run.SetItemsProcessed(sent);
}
BENCHMARK(command_between_nodes)->Arg(64)->Arg(20000);

void read_record(benchmark::State& run) {
    tvrnet_kv_writer w;
    w.add_int32("version", 2);
    w.add_int32("has_json", 0);
    w.add_int32("has_json_v3", 0);
    w.add_int32("pacing", 7);
    for (auto _ : run) {
        tvrnet_kv_reader r(w.data);
        benchmark::DoNotOptimize(r.read_int32("pacing") + r.read_int32("version"));
    }
}
BENCHMARK(read_record);

}  // namespace
