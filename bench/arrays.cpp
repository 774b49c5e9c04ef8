/** @file Arrays and tables beside std::vector, and the layout of a screen. */
#include <benchmark/benchmark.h>
#include <memory>
#include <string>
#include <vector>

#include "core/JStringArray.h"
#include "core/JStringTable.h"
#include "ui/JCanvas.h"
#include "ui/JLayout.h"

namespace {

constexpr int ELEMENTS = 1000;

void GrowJStringArray(benchmark::State& state) {
    for (auto unused : state) {
        JStringArray array;
        for (int i = 0; i < ELEMENTS; i++) array[i];
        benchmark::DoNotOptimize(array.length());
    }
    state.SetItemsProcessed(state.iterations() * ELEMENTS);
}
BENCHMARK(GrowJStringArray);

void GrowStdVector(benchmark::State& state) {
    for (auto unused : state) {
        std::vector<std::unique_ptr<std::string>> array;
        for (int i = 0; i < ELEMENTS; i++) array.push_back(std::make_unique<std::string>());
        benchmark::DoNotOptimize(array.size());
    }
    state.SetItemsProcessed(state.iterations() * ELEMENTS);
}
BENCHMARK(GrowStdVector);

void ReadJStringArray(benchmark::State& state) {
    JStringArray array;
    for (int i = 0; i < ELEMENTS; i++) array[i] = "element";
    for (auto unused : state) {
        int length = 0;
        for (int i = 0; i < ELEMENTS; i++) length += array[i].length();
        benchmark::DoNotOptimize(length);
    }
    state.SetItemsProcessed(state.iterations() * ELEMENTS);
}
BENCHMARK(ReadJStringArray);

void ReadStdVector(benchmark::State& state) {
    std::vector<std::unique_ptr<std::string>> array;
    for (int i = 0; i < ELEMENTS; i++) array.push_back(std::make_unique<std::string>("element"));
    for (auto unused : state) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < ELEMENTS; i++) length += array.at(i)->size();
        benchmark::DoNotOptimize(length);
    }
    state.SetItemsProcessed(state.iterations() * ELEMENTS);
}
BENCHMARK(ReadStdVector);

void CopyJStringArray(benchmark::State& state) {
    JStringArray array;
    for (int i = 0; i < ELEMENTS; i++) array[i] = "an element that is longer than sixteen bytes";
    for (auto unused : state) {
        const JStringArray copy(array);
        benchmark::DoNotOptimize(copy.length());
    }
    state.SetItemsProcessed(state.iterations() * ELEMENTS);
}
BENCHMARK(CopyJStringArray);

void CopyStdVector(benchmark::State& state) {
    std::vector<std::unique_ptr<std::string>> array;
    for (int i = 0; i < ELEMENTS; i++)
        array.push_back(std::make_unique<std::string>("an element that is longer than sixteen bytes"));
    for (auto unused : state) {
        std::vector<std::unique_ptr<std::string>> copy;
        copy.reserve(array.size());
        for (const auto& element : array) copy.push_back(std::make_unique<std::string>(*element));
        benchmark::DoNotOptimize(copy.size());
    }
    state.SetItemsProcessed(state.iterations() * ELEMENTS);
}
BENCHMARK(CopyStdVector);

void FillJStringTable(benchmark::State& state) {
    for (auto unused : state) {
        JStringTable table;
        for (int row = 0; row < 100; row++) {
            for (int column = 0; column < 10; column++) table[row][column] = "cell";
        }
        benchmark::DoNotOptimize(table.getRows());
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(FillJStringTable);

/** A screen of 111 nodes. */
std::unique_ptr<JLayout> screen() {
    auto root = std::make_unique<JLayout>(0, "screen", JLayout::COLUMN);
    root->setWidth(320);
    root->setHeight(240);
    int id = 1;
    for (int i = 0; i < 10; i++) {
        JLayout* const row = root->add(id++, "row", JLayout::ROW);
        row->setHeight(24);
        for (int j = 0; j < 10; j++) row->add(id++, "leaf", JLayout::LEAF)->setWidth(32);
    }
    return root;
}

class Screen : public JCanvas {
public:
    Screen() : JCanvas(0) {}
    void start() { active.clear(); }
};

void LayOutAScreen(benchmark::State& state) {
    const std::unique_ptr<JLayout> root = screen();
    Screen canvas;
    for (auto unused : state) {
        canvas.start();
        root->adjust(canvas);
    }
    state.SetItemsProcessed(state.iterations() * 111);
}
BENCHMARK(LayOutAScreen);

void HitAScreen(benchmark::State& state) {
    const std::unique_ptr<JLayout> root = screen();
    Screen canvas;
    root->adjust(canvas);
    for (auto unused : state) benchmark::DoNotOptimize(canvas.hit(5, 5));
}
BENCHMARK(HitAScreen);

}  // namespace
