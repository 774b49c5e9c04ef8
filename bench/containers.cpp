/** @file Tables and queues beside those of the C++ library, holding objects as Jay's do. */
#include <benchmark/benchmark.h>
#include <deque>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "containers/JCachetable.h"
#include "containers/JHashtable.h"
#include "core/JString.h"
#include "core/JVector.h"
#include "thread/JQueue.h"

namespace {

/** A key as applications write it: equal only if the text is. */
class Name : public JString {
public:
    using JString::equals;
    using JString::JString;
    bool equals(const JObject* other) override {
        return static_cast<const JString&>(*this) == *static_cast<const JString*>(other);
    }
    JObject* clone() override { return new Name(*this); }
};

std::string nameOf(long i) {
    return "name " + std::to_string(i);
}

void FindInJHashtable(benchmark::State& state) {
    JHashtable table;
    std::vector<std::unique_ptr<Name>> names;
    for (long i = 0; i < state.range(0); i++) {
        names.push_back(std::make_unique<Name>(nameOf(i).c_str()));
        table.put(*names.back(), *names.back());
    }
    std::size_t i = 0;
    for (auto unused : state) {
        benchmark::DoNotOptimize(table.get(*names[i]));
        if (++i == names.size()) i = 0;
    }
}
BENCHMARK(FindInJHashtable)->Arg(100)->Arg(10000);

void FindInStdUnorderedMap(benchmark::State& state) {
    std::unordered_map<std::string, std::unique_ptr<std::string>> table;
    std::vector<std::string> names;
    for (long i = 0; i < state.range(0); i++) {
        names.push_back(nameOf(i));
        table[names.back()] = std::make_unique<std::string>(names.back());
    }
    std::size_t i = 0;
    for (auto unused : state) {
        benchmark::DoNotOptimize(table.find(names[i])->second.get());
        if (++i == names.size()) i = 0;
    }
}
BENCHMARK(FindInStdUnorderedMap)->Arg(100)->Arg(10000);

void FillJHashtable(benchmark::State& state) {
    std::vector<std::unique_ptr<Name>> names;
    for (long i = 0; i < 1000; i++) names.push_back(std::make_unique<Name>(nameOf(i).c_str()));
    for (auto unused : state) {
        JHashtable table;
        for (auto& name : names) table.put(*name, *name);
        benchmark::DoNotOptimize(table.size());
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(FillJHashtable);

void FillStdUnorderedMap(benchmark::State& state) {
    std::vector<std::string> names;
    for (long i = 0; i < 1000; i++) names.push_back(nameOf(i));
    for (auto unused : state) {
        std::unordered_map<std::string, std::unique_ptr<std::string>> table;
        for (auto& name : names) table[name] = std::make_unique<std::string>(name);
        benchmark::DoNotOptimize(table.size());
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(FillStdUnorderedMap);

/** A key that hashes well: numbers, of which no two have the same hash. */
class Number : public JObject {
public:
    explicit Number(int n) : value(n) {}
    using JObject::equals;
    bool equals(const JObject* other) override { return value == static_cast<const Number*>(other)->value; }
    int hashCode() override { return value; }
    JObject* clone() override { return new Number(*this); }

private:
    int value;
};

void FindNumberInJHashtable(benchmark::State& state) {
    JHashtable table;
    for (int i = 0; i < 10000; i++) {
        Number number(i);
        table.put(number, number);
    }
    int i = 0;
    for (auto unused : state) {
        Number number(i);
        benchmark::DoNotOptimize(table.get(number));
        if (++i == 10000) i = 0;
    }
}
BENCHMARK(FindNumberInJHashtable);

void FindNumberInStdUnorderedMap(benchmark::State& state) {
    std::unordered_map<int, std::unique_ptr<JObject>> table;
    for (int i = 0; i < 10000; i++) table[i] = std::make_unique<Number>(i);
    int i = 0;
    for (auto unused : state) {
        benchmark::DoNotOptimize(table.find(i)->second.get());
        if (++i == 10000) i = 0;
    }
}
BENCHMARK(FindNumberInStdUnorderedMap);

void FillJHashtableWithNumbers(benchmark::State& state) {
    for (auto unused : state) {
        JHashtable table;
        for (int i = 0; i < 1000; i++) {
            Number number(i);
            table.put(number, number);
        }
        benchmark::DoNotOptimize(table.size());
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(FillJHashtableWithNumbers);

void FillStdUnorderedMapWithNumbers(benchmark::State& state) {
    for (auto unused : state) {
        // As many objects as Jay's: keys are objects there.
        std::unordered_map<int, std::pair<std::unique_ptr<Number>, std::unique_ptr<Number>>> table;
        for (int i = 0; i < 1000; i++)
            table.emplace(i, std::make_pair(std::make_unique<Number>(i), std::make_unique<Number>(i)));
        benchmark::DoNotOptimize(table.size());
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(FillStdUnorderedMapWithNumbers);

void FindInJCachetable(benchmark::State& state) {
    JCachetable cache(100);
    std::vector<std::unique_ptr<Name>> names;
    for (long i = 0; i < 100; i++) {
        names.push_back(std::make_unique<Name>(nameOf(i).c_str()));
        cache.addElement(*names.back(), *names.back());
    }
    std::size_t i = 0;
    for (auto unused : state) {
        benchmark::DoNotOptimize(cache.getElement(*names[i]));
        if (++i == names.size()) i = 0;
    }
}
BENCHMARK(FindInJCachetable);

/** A cache of the same kind out of the C++ library's parts. */
class StdCache {
public:
    explicit StdCache(std::size_t capacity) : capacity_(capacity) {}

    const std::string* get(const std::string& key) {
        const auto found = index_.find(key);
        if (found == index_.end()) return nullptr;
        order_.splice(order_.begin(), order_, found->second);
        return found->second->second.get();
    }
    void add(const std::string& key, const std::string& value) {
        if (order_.size() == capacity_) {
            index_.erase(order_.back().first);
            order_.pop_back();
        }
        order_.emplace_front(key, std::make_unique<std::string>(value));
        index_[key] = order_.begin();
    }

private:
    using Order = std::list<std::pair<std::string, std::unique_ptr<std::string>>>;
    std::size_t capacity_;
    Order order_;
    std::unordered_map<std::string, Order::iterator> index_;
};

void FindInStdCache(benchmark::State& state) {
    StdCache cache(100);
    std::vector<std::string> names;
    for (long i = 0; i < 100; i++) {
        names.push_back(nameOf(i));
        cache.add(names.back(), names.back());
    }
    std::size_t i = 0;
    for (auto unused : state) {
        benchmark::DoNotOptimize(cache.get(names[i]));
        if (++i == names.size()) i = 0;
    }
}
BENCHMARK(FindInStdCache);

void ReplaceInJCachetable(benchmark::State& state) {
    JCachetable cache(100);
    std::vector<std::unique_ptr<Name>> names;
    for (long i = 0; i < 200; i++) names.push_back(std::make_unique<Name>(nameOf(i).c_str()));
    std::size_t i = 0;
    for (auto unused : state) {
        cache.addElement(*names[i], *names[i]);
        if (++i == names.size()) i = 0;
    }
}
BENCHMARK(ReplaceInJCachetable);

void ReplaceInStdCache(benchmark::State& state) {
    StdCache cache(100);
    std::vector<std::string> names;
    for (long i = 0; i < 200; i++) names.push_back(nameOf(i));
    std::size_t i = 0;
    for (auto unused : state) {
        cache.add(names[i], names[i]);
        if (++i == names.size()) i = 0;
    }
}
BENCHMARK(ReplaceInStdCache);

void ThroughJQueue(benchmark::State& state) {
    JQueue queue(1000);
    const int waiting = 100;
    for (int i = 0; i < waiting; i++) queue.adopt(new JString("item"));
    for (auto unused : state) {
        std::unique_ptr<JObject> item(queue.get());
        queue.adopt(item.release());
    }
}
BENCHMARK(ThroughJQueue);

void ThroughStdDeque(benchmark::State& state) {
    std::deque<std::unique_ptr<std::string>> queue;
    const int waiting = 100;
    for (int i = 0; i < waiting; i++) queue.push_back(std::make_unique<std::string>("item"));
    for (auto unused : state) {
        auto item = std::move(queue.front());
        queue.pop_front();
        queue.push_back(std::move(item));
    }
}
BENCHMARK(ThroughStdDeque);

}  // namespace
