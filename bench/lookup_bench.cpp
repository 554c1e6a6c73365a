// The lookups of the hot path, in nanoseconds: the AP table by MAC and the joined list by MAC.
#include <benchmark/benchmark.h>

#include <cstring>

#include "ac_mib/apconfig.h"
#include "ac_wtp_protocol/ac_joined_list.h"

namespace {

struct bench_mac {
    UINT8 bytes[AC_MAC_LEN];
};

// Spread over both halves of the weak hash's input, as real addresses are. Another maker is a MAC that no table holds.
bench_mac mac_number(int number, UINT8 maker = 0x02)
{
    const auto n = static_cast<unsigned>(number);
    return {{maker, static_cast<UINT8>(n * 7), static_cast<UINT8>(n >> 9), static_cast<UINT8>(n * 13),
             static_cast<UINT8>(n >> 8), static_cast<UINT8>(n)}};
}

void fill_table(int records)
{
    apconfig_del_all();
    apconfig_htable_init();
    for (int i = 0; i < records; i++) {
        APCONFIG* node = apconfig_alloc();
        memcpy(node->ethaddr, mac_number(i).bytes, AC_MAC_LEN);
        apconfig_link(node);
    }
}

void fill_joined(int entries)
{
    acwtp_joined_htable_init();
    for (int i = 0; i < entries; i++) {
        ACWTP_JOIN_LIST entry = {};
        memcpy(entry.ap_mac, mac_number(i).bytes, AC_MAC_LEN);
        entry.ap_status = 1;
        entry.current_status = AC_RUNNING;
        insert_to_wtp_listinfo(&entry);
    }
}

void apconfig_hnode_find_known(benchmark::State& state)
{
    const int records = static_cast<int>(state.range(0));
    fill_table(records);
    int i = 0;
    for (auto _ : state) {
        const bench_mac mac = mac_number(i++ % records);
        benchmark::DoNotOptimize(apconfig_hnode_find(mac.bytes, apconfig_hash_func(mac.bytes)));
    }
}

void apconfig_hnode_find_unknown(benchmark::State& state)
{
    fill_table(static_cast<int>(state.range(0)));
    int i = 0;
    for (auto _ : state) {
        const bench_mac mac = mac_number(i++, 0x06);
        benchmark::DoNotOptimize(apconfig_hnode_find(mac.bytes, apconfig_hash_func(mac.bytes)));
    }
}

void acwtp_joined_node_find_known(benchmark::State& state)
{
    const int entries = static_cast<int>(state.range(0));
    fill_joined(entries);
    int i = 0;
    for (auto _ : state) {
        const bench_mac mac = mac_number(i++ % entries);
        benchmark::DoNotOptimize(acwtp_joined_node_find(mac.bytes, acwtp_joined_hash_func(mac.bytes)));
    }
}

void acwtp_joined_node_find_unknown(benchmark::State& state)
{
    fill_joined(static_cast<int>(state.range(0)));
    const bench_mac mac = mac_number(1, 0x06);
    for (auto _ : state)
        benchmark::DoNotOptimize(acwtp_joined_node_find(mac.bytes, acwtp_joined_hash_func(mac.bytes)));
}

} // namespace

BENCHMARK(apconfig_hnode_find_known)->Arg(64)->Arg(512)->Arg(2500)->Arg(10000);
BENCHMARK(apconfig_hnode_find_unknown)->Arg(512)->Arg(10000);
BENCHMARK(acwtp_joined_node_find_known)->Arg(64)->Arg(512);
BENCHMARK(acwtp_joined_node_find_unknown)->Arg(512);
