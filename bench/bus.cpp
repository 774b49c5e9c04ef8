/** @file The parts of the bus that every message goes through. */
#include <benchmark/benchmark.h>
#include <string>

#include "bus/M.h"

namespace {

void MakeAMessage(benchmark::State& state) {
    const std::string payload(static_cast<std::size_t>(state.range(0)), 'x');
    for (auto unused : state) {
        M m;
        m.setSrcId(5);
        m.setDestId(7);
        m.addBytes(payload.data(), 0, static_cast<int>(payload.size()));
        JByte bytes = m.toByteArray();
        benchmark::DoNotOptimize(static_cast<char*>(bytes));
    }
}
BENCHMARK(MakeAMessage)->Arg(16)->Arg(4096);

void ReadAMessagesHeader(benchmark::State& state) {
    M m;
    m.setSrcId(5);
    m.setDestId(7);
    for (auto unused : state) {
        benchmark::DoNotOptimize(m.getDestId());
        benchmark::DoNotOptimize(m.getSrcId());
        benchmark::DoNotOptimize(m.getFlag());
        benchmark::DoNotOptimize(m.getPriority());
    }
}
BENCHMARK(ReadAMessagesHeader);

void WriteAndReadItems(benchmark::State& state) {
    for (auto unused : state) {
        JMessage m;
        m.addByte(1);
        m.addWord(2);
        m.addInt(3);
        m.addVarInt(300);
        m.addString("a text");
        benchmark::DoNotOptimize(m.getByte() + m.getWord() + m.getInt() + m.getVarInt());
        benchmark::DoNotOptimize(m.getString().length());
    }
}
BENCHMARK(WriteAndReadItems);

}  // namespace
