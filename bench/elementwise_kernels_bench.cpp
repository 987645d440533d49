// The arithmetic of the element-wise commands alone, on a block of 1000 in L1, beside a memcpy of the same block. The
// commands' own files are part of this one, so that what is measured is what the module has.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "arith/abs.cpp"
#include "arith/bound.cpp"
#include "arith/delta.cpp"
#include "arith/offset.cpp"
#include "arith/scale.cpp"
#include "bench/pairs.h"

namespace zcmds {

namespace {

const std::string area = "Element-wise arithmetic alone, on a block in L1 (ns an element)";

constexpr std::int32_t blockSize = 1000;

template <class Element>
struct alignas(64) Block {
    Element elements[blockSize];
};

template <class Element>
Block<Element>& block() {
    static Block<Element> made = [] {
        Block<Element> counts{};
        for (std::int32_t i = 0; i < blockSize; ++i)
            counts.elements[i] = static_cast<Element>(i * 7919 % 65536 - 32768);
        return counts;
    }();
    return made;
}

// Runs `kernel(elements)` over the block again and again.
template <class Element, class Kernel>
void add(const std::string& name, Kernel kernel) {
    benchmark::RegisterBenchmark(name.c_str(), [kernel](benchmark::State& state) {
        Element* elements = block<Element>().elements;
        for (auto _ : state) {
            kernel(elements);
            benchmark::ClobberMemory();
        }
        state.SetItemsProcessed(state.iterations() * blockSize);
    });
}

template <class Element>
void addKernels(const std::string& type) {
    const auto addBesideCopy = [&type](const char* name, double limit, auto kernel) {
        add<Element>("block" + (name + type), kernel);
        bench::compare({area, "block" + (name + type), bench::copying, "memcpy" + type, limit});
    };
    add<Element>("memcpy" + type, [](const Element* elements) {
        static Block<Element> copy;
        std::memcpy(copy.elements, elements, sizeof copy.elements);
        benchmark::DoNotOptimize(&copy);
    });
    addBesideCopy("ABS", 1.2, [](Element* e) { transformBlock(e, blockSize, [](Element x) { return absolute(x); }); });
    addBesideCopy("OFFSET", 1.2, [](Element* e) { transformBlock(e, blockSize, SaturatingAdd<Element>(3)); });
    addBesideCopy("DELTA", 1.2, [replace = differencesInBlock<Element>()](Element* e) { replace(e, blockSize, 3); });
    addBesideCopy("BOUND", 1.5, [](Element* e) { transformBlock(e, blockSize, Bounded<Element>{-1000, 1000}); });
}

// `limit` is of the time of one integer division for each element.
template <class Element>
void addScale(const std::string& type, double limit) {
    using Product = decltype(productOf(Element{}, {}));
    static Factors<Element> by{3, 30, 7};
    add<Element>("blockSCALE" + type, [](Element* e) {
        benchmark::DoNotOptimize(by);
        scaleBlock(e, blockSize, by);
    });
    add<Element>("divideSCALE" + type, [](Element* e) {
        benchmark::DoNotOptimize(by);
        for (std::int32_t i = 0; i < blockSize; ++i)
            e[i] = saturate<Element>((Product{e[i]} + by.offset) * by.mul / Product{by.div});
    });
    bench::compare({area, "blockSCALE" + type, "division", "divideSCALE" + type, limit});
}

const bool added = [] {
    addKernels<std::int16_t>("_int16");
    addKernels<float>("_float");
    addKernels<double>("_double");
    addScale<std::int16_t>("_int16", 0.2);
    addScale<std::int32_t>("_int32", 0.5);
    return true;
}();

}  // namespace

}  // namespace zcmds
