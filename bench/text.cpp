/** @file Strings, and Korean text, beside what the C++ and the C library offer. */
#include <benchmark/benchmark.h>
#include <iconv.h>
#include <string>

#include "core/JString.h"
#include "core/JStringBuffer.h"
#include "system/JSystem.h"

namespace {

constexpr int PIECES = 1000;
const char KOREAN[] = "\xC7\xD1\xB1\xDB \xB8\xDE\xBD\xC3\xC1\xF6 123";  // EUC-KR

void AppendToJStringBuffer(benchmark::State& state) {
    for (auto unused : state) {
        JStringBuffer text;
        for (int i = 0; i < PIECES; i++) text.append("piece ");
        benchmark::DoNotOptimize(text.length());
    }
    state.SetItemsProcessed(state.iterations() * PIECES);
}
BENCHMARK(AppendToJStringBuffer);

void AppendToStdString(benchmark::State& state) {
    for (auto unused : state) {
        std::string text;
        for (int i = 0; i < PIECES; i++) text.append("piece ");
        benchmark::DoNotOptimize(text.data());
    }
    state.SetItemsProcessed(state.iterations() * PIECES);
}
BENCHMARK(AppendToStdString);

void CopyJString(benchmark::State& state) {
    const JString text("a name of some length");
    for (auto unused : state) {
        JString copy(text);
        benchmark::DoNotOptimize(copy.length());
    }
}
BENCHMARK(CopyJString);

void CopyStdString(benchmark::State& state) {
    const std::string text("a name of some length");
    for (auto unused : state) {
        std::string copy(text);
        benchmark::DoNotOptimize(copy.data());
    }
}
BENCHMARK(CopyStdString);

void KoreanTextByKstowc(benchmark::State& state) {
    for (auto unused : state) {
        std::string bytes(KOREAN);
        auto* at = reinterpret_cast<unsigned char*>(&bytes[0]);
        unsigned short wide[2];
        for (int left = static_cast<int>(bytes.size()); left > 0;) {
            const int used = JSystem::kstowc(wide, at, left);
            benchmark::DoNotOptimize(wide[0]);
            const int step = used > 0 ? used : 1;
            at += step;
            left -= step;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<long>(sizeof KOREAN - 1));
}
BENCHMARK(KoreanTextByKstowc);

void KoreanTextByIconv(benchmark::State& state) {
    const iconv_t converter = iconv_open("UCS-2LE", "CP949");
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        state.SkipWithError("iconv knows no CP949 here");
        return;
    }
    for (auto unused : state) {
        std::string bytes(KOREAN);
        char wide[64];
        char* in = &bytes[0];
        char* out = wide;
        std::size_t inLeft = bytes.size();
        std::size_t outLeft = sizeof wide;
        benchmark::DoNotOptimize(iconv(converter, &in, &inLeft, &out, &outLeft));
    }
    iconv_close(converter);
    state.SetBytesProcessed(state.iterations() * static_cast<long>(sizeof KOREAN - 1));
}
BENCHMARK(KoreanTextByIconv);

}  // namespace
