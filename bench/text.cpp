/** @file Strings, and Korean text, beside what the C++ and the C library offer. */
#include <benchmark/benchmark.h>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <iconv.h>
#include <string>
#include <type_traits>
#include <unistd.h>
#include <utility>

#include "core/JInteger.h"
#include "core/JNumber.h"
#include "core/JString.h"
#include "core/JStringBuffer.h"
#include "system/JSystem.h"

namespace {

constexpr int PIECES = 1000;
const char KOREAN[] = "\xC7\xD1\xB1\xDB \xB8\xDE\xBD\xC3\xC1\xF6 123";  // EUC-KR

template <class Text>
int sizeOf(const Text& text) {
    if constexpr (std::is_same_v<Text, std::string>) {
        return static_cast<int>(text.size());
    } else {
        return text.length();
    }
}

// ---- strings: the same work with either class ----

const char SHORT[] = "name";
const char LONG[] = "a text that is longer than what a std::string keeps in itself";

template <class Text>
void CopyText(benchmark::State& state) {
    const Text text(LONG);
    for (auto unused : state) {
        Text copy(text);
        benchmark::DoNotOptimize(sizeOf(copy));
    }
}
BENCHMARK_TEMPLATE(CopyText, JString);
BENCHMARK_TEMPLATE(CopyText, std::string);

template <class Text>
void CopyShortText(benchmark::State& state) {
    const Text text(SHORT);
    for (auto unused : state) {
        Text copy(text);
        benchmark::DoNotOptimize(sizeOf(copy));
    }
}
BENCHMARK_TEMPLATE(CopyShortText, JString);
BENCHMARK_TEMPLATE(CopyShortText, std::string);

template <class Text>
void MakeEmptyText(benchmark::State& state) {
    for (auto unused : state) {
        Text text;
        benchmark::DoNotOptimize(sizeOf(text));
    }
}
BENCHMARK_TEMPLATE(MakeEmptyText, JString);
BENCHMARK_TEMPLATE(MakeEmptyText, std::string);

template <class Text>
void MoveText(benchmark::State& state) {
    Text text(LONG);
    for (auto unused : state) {
        Text moved(std::move(text));
        text = std::move(moved);
        benchmark::DoNotOptimize(sizeOf(text));
    }
}
BENCHMARK_TEMPLATE(MoveText, JString);
BENCHMARK_TEMPLATE(MoveText, std::string);

template <class Text>
void AssignText(benchmark::State& state) {
    const Text text(LONG);
    Text target;
    for (auto unused : state) {
        target = text;
        benchmark::DoNotOptimize(sizeOf(target));
    }
}
BENCHMARK_TEMPLATE(AssignText, JString);
BENCHMARK_TEMPLATE(AssignText, std::string);

template <class Text>
void JoinTexts(benchmark::State& state) {
    const Text a(LONG);
    const Text b(SHORT);
    for (auto unused : state) {
        const Text joined = a + b;
        benchmark::DoNotOptimize(sizeOf(joined));
    }
}
BENCHMARK_TEMPLATE(JoinTexts, JString);
BENCHMARK_TEMPLATE(JoinTexts, std::string);

void JoinNumberToJString(benchmark::State& state) {
    const JString text(LONG);
    for (auto unused : state) {
        const JString joined = text + 1234567;
        benchmark::DoNotOptimize(joined.length());
    }
}
BENCHMARK(JoinNumberToJString);

void JoinNumberToStdString(benchmark::State& state) {
    const std::string text(LONG);
    for (auto unused : state) {
        const std::string joined = text + std::to_string(1234567);
        benchmark::DoNotOptimize(joined.size());
    }
}
BENCHMARK(JoinNumberToStdString);

void AppendToJString(benchmark::State& state) {
    for (auto unused : state) {
        JString text;
        for (int i = 0; i < PIECES / 10; i++) text += "piece ";
        benchmark::DoNotOptimize(text.length());
    }
    state.SetItemsProcessed(state.iterations() * PIECES / 10);
}
BENCHMARK(AppendToJString);

void SearchInJString(benchmark::State& state) {
    const JString text(LONG);
    for (auto unused : state) {
        benchmark::DoNotOptimize(text.indexOf("itself"));
        benchmark::DoNotOptimize(text.lastIndexOf('t'));
    }
}
BENCHMARK(SearchInJString);

void SearchInStdString(benchmark::State& state) {
    const std::string text(LONG);
    for (auto unused : state) {
        benchmark::DoNotOptimize(text.find("itself"));
        benchmark::DoNotOptimize(text.rfind('t'));
    }
}
BENCHMARK(SearchInStdString);

void TrimJString(benchmark::State& state) {
    const JString text("   a text between blanks   ");
    for (auto unused : state) {
        const JString trimmed = text.trim();
        benchmark::DoNotOptimize(trimmed.length());
    }
}
BENCHMARK(TrimJString);

void TrimStdString(benchmark::State& state) {
    const std::string text("   a text between blanks   ");
    for (auto unused : state) {
        const std::size_t first = text.find_first_not_of(" \t\r\n");
        const std::string trimmed = text.substr(first, text.find_last_not_of(" \t\r\n") + 1 - first);
        benchmark::DoNotOptimize(trimmed.size());
    }
}
BENCHMARK(TrimStdString);

// ---- numbers ----

void FormatBySysItoa(benchmark::State& state) {
    char text[40];
    int n = 0;
    for (auto unused : state) {
        benchmark::DoNotOptimize(sys_itoa(n, text, 10));
        n += 104729;
    }
}
BENCHMARK(FormatBySysItoa);

void FormatByToChars(benchmark::State& state) {
    char text[40];
    unsigned n = 0;
    for (auto unused : state) {
        *std::to_chars(text, text + sizeof text, static_cast<int>(n)).ptr = '\0';
        benchmark::DoNotOptimize(text);
        n += 104729;
    }
}
BENCHMARK(FormatByToChars);

void ParseByJInteger(benchmark::State& state) {
    const char* text = "1234567";
    for (auto unused : state) {
        benchmark::DoNotOptimize(text);
        benchmark::DoNotOptimize(JInteger::parseInt(text));
    }
}
BENCHMARK(ParseByJInteger);

void ParseByStrtol(benchmark::State& state) {
    const char* text = "1234567";
    for (auto unused : state) {
        benchmark::DoNotOptimize(text);
        benchmark::DoNotOptimize(std::strtol(text, nullptr, 10));
    }
}
BENCHMARK(ParseByStrtol);

// ---- collecting a text ----

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

// ---- encodings ----

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

// ---- dump, to a file that forgets it ----

/** Standard error goes to /dev/null within the scope. */
class Silence {
public:
    Silence() : kept_(dup(2)) {
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, 2);
        close(nowhere);
    }
    ~Silence() {
        dup2(kept_, 2);
        close(kept_);
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    const int kept_;
};

void DumpByJSystem(benchmark::State& state) {
    const Silence silence;
    char bytes[256];
    for (int i = 0; i < 256; i++) bytes[i] = static_cast<char>(i);
    for (auto unused : state) JSystem::dump(bytes, sizeof bytes);
    state.SetBytesProcessed(state.iterations() * static_cast<long>(sizeof bytes));
}
BENCHMARK(DumpByJSystem);

void DumpByPrintf(benchmark::State& state) {
    const Silence silence;
    for (auto unused : state) {
        for (int i = 0; i < 256; i++) std::fprintf(stderr, "%02X ", static_cast<unsigned>(i));
        std::fflush(stderr);
    }
    state.SetBytesProcessed(state.iterations() * 256);
}
BENCHMARK(DumpByPrintf);

}  // namespace
