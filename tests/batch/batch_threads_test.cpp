// What the workers of a batch share.
#include "batch/analysis_cache.hpp"
#include "batch/ordered_pool.hpp"
#include "batch/pair_bench.hpp"
#include "files/refusal.hpp"
#include "photofile/decoder_remarks.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <future>
#include <mutex>
#include <set>
#include <thread>

namespace likeness::testing {
namespace {

using std::chrono::milliseconds;

ResultRecord numbered(std::size_t number) {
    ResultRecord record;
    record.position = number;
    return record;
}

TEST(OrderedPool, HandsOutInOrderWhateverTheOrderOfTheWork) {
    for (const unsigned jobs : {1U, 2U, 8U}) {
        constexpr std::size_t count = 2000;
        std::atomic<std::size_t> greatestLead{0};
        std::atomic<std::size_t> taken{0};
        OrderedPool pool(count, jobs, [&] {
            return [&](std::size_t number) {
                if (number % 97 == 0) {
                    std::this_thread::sleep_for(milliseconds(1));
                }
                const std::size_t lead = number - std::min(number, taken.load());
                std::size_t before = greatestLead;
                while (lead > before && !greatestLead.compare_exchange_weak(before, lead)) {
                }
                return numbered(number);
            };
        });
        std::vector<ResultRecord> records;
        while (pool.take(records, milliseconds(50))) {
            for (const ResultRecord& record : records) {
                ASSERT_EQ(record.position, taken++);
            }
        }
        EXPECT_EQ(taken, count);
        EXPECT_LT(greatestLead, 1024U);
    }
}

TEST(OrderedPool, StoppedHandsOutABeginningWithoutGaps) {
    OrderedPool pool(1000000, 4, [] {
        return [](std::size_t number) {
            std::this_thread::sleep_for(milliseconds(number % 4));
            return numbered(number);
        };
    });
    std::vector<ResultRecord> records;
    std::size_t taken = 0;
    while (pool.take(records, milliseconds(50))) {
        for (const ResultRecord& record : records) {
            ASSERT_EQ(record.position, taken++);
        }
        if (taken > 20) {
            pool.stop();
        }
    }
    EXPECT_GT(taken, 20U);
    EXPECT_LT(taken, 1000U);
}

TEST(OrderedPool, HandsOnWhatAWorkerThrows) {
    OrderedPool pool(100, 2, [] {
        return [](std::size_t number) {
            if (number == 7) {
                throw std::runtime_error("seven");
            }
            return numbered(number);
        };
    });
    std::vector<ResultRecord> records;
    EXPECT_THROW(while (pool.take(records, milliseconds(50))){}, std::runtime_error);
}

TEST(OrderedPool, GoesOnWithFewerWorkersWhereMemoryIsShort) {
    for (const int enough : {0, 1, 2, 5, 7, 8}) {
        constexpr unsigned jobs = 8;
        std::atomic<int> made{0};
        std::atomic<int> alive{0};
        std::atomic<int> most{0};
        OrderedPool pool(300, jobs, [&]() -> OrderedPool::Work {
            if (made++ >= enough && made <= static_cast<int>(jobs)) {
                throw std::bad_alloc();
            }
            return [&](std::size_t number) {
                most = std::max(most.load(), ++alive);
                std::this_thread::yield();
                --alive;
                return numbered(number);
            };
        });
        std::vector<ResultRecord> records;
        std::size_t taken = 0;
        while (pool.take(records, milliseconds(50))) {
            for (const ResultRecord& record : records) {
                ASSERT_EQ(record.position, taken++);
            }
        }
        EXPECT_EQ(taken, 300U);
        const int staying = enough == static_cast<int>(jobs) ? enough : std::max(1, (enough + 1) / 2);
        EXPECT_EQ(pool.workers(), static_cast<unsigned>(staying)) << enough;
        EXPECT_LE(most, staying);
        EXPECT_EQ(pool.asked(), jobs);
    }
}

TEST(OrderedPool, WithoutMemoryForOneWorkerThrows) {
    OrderedPool pool(3, 2, []() -> OrderedPool::Work { throw std::bad_alloc(); });
    std::vector<ResultRecord> records;
    EXPECT_THROW(while (pool.take(records, milliseconds(50))){}, std::bad_alloc);
}

TEST(OrderedPool, MakesAgainWithFewerWorkersWhatHadNoMemory) {
    for (const int enough : {1, 2, 3}) {
        constexpr unsigned jobs = 8;
        const auto holders = std::make_shared<int>();
        OrderedPool pool(300, jobs, [&]() -> OrderedPool::Work {
            return [holders, enough](std::size_t number) {
                if (holders.use_count() > 1 + enough) {  // the test holds it too
                    throw MemoryShortage("short");
                }
                return numbered(number);
            };
        });
        std::vector<ResultRecord> records;
        std::size_t taken = 0;
        while (pool.take(records, milliseconds(50))) {
            for (const ResultRecord& record : records) {
                ASSERT_EQ(record.position, taken++);
            }
        }
        EXPECT_EQ(taken, 300U);
        EXPECT_GE(pool.workers(), static_cast<unsigned>(std::max(1, enough / 2)));
        EXPECT_LT(pool.workers(), jobs);
    }
}

TEST(OrderedPool, WhatHasNoMemoryAloneEither) {
    for (const unsigned jobs : {1U, 2U, 8U}) {
        std::atomic<int> calls{0};
        OrderedPool pool(300, jobs, [&] {
            return [&](std::size_t number) {
                if (number >= 20) {
                    ++calls;
                    throw std::bad_alloc();
                }
                return numbered(number);
            };
        });
        std::vector<ResultRecord> records;
        std::size_t taken = 0;
        EXPECT_THROW(
            while (pool.take(records, milliseconds(50))) { taken += records.size(); }, std::bad_alloc);
        EXPECT_EQ(taken, 20U);
        EXPECT_EQ(pool.workers(), 1U);
        EXPECT_LT(calls, 40);
    }
}

PhotographAnalysis analysisOf(int width) {
    PhotographAnalysis analysis;
    analysis.facts.width = width;
    return analysis;
}

TEST(AnalysisCache, AnalysesAPhotographOnce) {
    AnalysisCache cache(10);
    constexpr int uses = 400;
    for (int k = 0; k < uses; ++k) {
        cache.announce("reference");
        cache.announce("photograph " + std::to_string(k));
    }
    cache.announced();
    std::atomic<int> analyses{0};
    std::atomic<int> next{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int k = next++; k < uses; k = next++) {
                const auto reference = cache.get("reference", [&] {
                    ++analyses;
                    std::this_thread::sleep_for(milliseconds(5));
                    return analysisOf(-1);
                });
                const auto other = cache.get("photograph " + std::to_string(k), [&] { return analysisOf(k); });
                EXPECT_EQ(reference->facts.width, -1);
                EXPECT_EQ(other->facts.width, k);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(analyses, 1);
}

TEST(AnalysisCache, IsBoundedAndKeepsWhatWasAskedForLast) {
    AnalysisCache cache(2);
    for (const char* const name : {"a", "b", "c", "a", "b", "c", "a", "b", "c", "a"}) {
        cache.announce(name);
    }
    cache.announced();
    std::string analysed;
    for (const char* const name : {"a", "b", "a", "c", "a", "b"}) {
        cache.get(name, [&] {
            analysed += name;
            return analysisOf(1);
        });
    }
    EXPECT_EQ(analysed, "abcb");
}

TEST(AnalysisCache, KeepsNoFailure) {
    AnalysisCache cache(2);
    for (int k = 0; k < 3; ++k) {
        cache.announce("a");
    }
    cache.announced();
    EXPECT_THROW(cache.get("a", []() -> PhotographAnalysis { throw MemoryShortage("short"); }), MemoryShortage);
    EXPECT_EQ(cache.get("a", [] { return analysisOf(3); })->facts.width, 3);
}

TEST(AnalysisCache, WithoutRoomEveryUseAnalyses) {
    AnalysisCache cache(0);
    cache.announce("a");
    cache.announce("a");
    cache.announced();
    int analyses = 0;
    for (int k = 0; k < 2; ++k) {
        cache.get("a", [&] {
            ++analyses;
            return analysisOf(1);
        });
    }
    EXPECT_EQ(analyses, 2);
}

TEST(RemarkSorter, MayBeManyInManyThreads) {
    std::FILE* const before = stderr;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            for (int k = 0; k < 200; ++k) {
                const RemarkSorter sorter;
                EXPECT_TRUE(RemarkSorter::isAtWork());
                const RemarkCollector collector;
                std::fprintf(stderr, "thread %d\n", t);
                EXPECT_EQ(collector.lines(), std::vector<std::string>{"thread " + std::to_string(t)});
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(RemarkSorter::isAtWork());
    EXPECT_EQ(stderr, before);
}

TEST(RemarkCollector, GetsTheLinesOfItsThread) {
    const RemarkSorter sorter;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            for (int k = 0; k < 50; ++k) {
                const RemarkCollector collector;
                for (int repeated = 0; repeated < 3; ++repeated) {
                    std::fprintf(stderr, "thread %d, %d\n", t, k);
                }
                EXPECT_EQ(collector.lines(),
                          std::vector<std::string>{"thread " + std::to_string(t) + ", " + std::to_string(k)});
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

AnalysisCache::Shared analysisNamed(const std::string& name) {
    PhotographAnalysis analysis;
    analysis.remarks = {name};
    return std::make_shared<const PhotographAnalysis>(analysis);
}

TEST(PairBench, AnalysesBothAtOnceWhereACoreIsIdle) {
    FreeCores cores(2);
    PairBench bench(cores);
    std::promise<void> secondBegan;
    std::set<const AnalysisTables*> tables;
    std::mutex mutex;
    const auto [first, second] = bench.analyze("a", "b", [&](const std::string& path, AnalysisTables& own) {
        if (path == "b") {
            secondBegan.set_value();
        } else if (secondBegan.get_future().wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
            ADD_FAILURE() << "the second photograph waits for the first";
        }
        const std::scoped_lock lock(mutex);
        tables.insert(&own);
        return analysisNamed(path);
    });
    EXPECT_EQ(first->remarks, std::vector<std::string>{"a"});
    EXPECT_EQ(second->remarks, std::vector<std::string>{"b"});
    EXPECT_EQ(tables.size(), 2U);
    EXPECT_TRUE(cores.takeIdle()) << "the second core was not given back";
}

TEST(PairBench, AnalysesOneAfterTheOtherWhereNoCoreIsIdle) {
    FreeCores cores(2);
    PairBench bench(cores);
    std::vector<std::string> order;
    const auto here = [&, caller = std::this_thread::get_id()](const std::string& path, AnalysisTables&) {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        order.push_back(path);
        return analysisNamed(path);
    };
    {
        const PairBench another(cores);
        bench.analyze("a", "b", here);
    }
    EXPECT_EQ(order, (std::vector<std::string>{"a", "b"}));
    bench.analyze("c", "c", here);  // nothing to be done at once
    EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "c", "c"}));
}

TEST(PairBench, NeverMoreAtWorkThanCores) {
    constexpr int most = 3;
    FreeCores cores(most);
    std::atomic<int> working{0};
    std::atomic<int> greatest{0};
    const auto analyze = [&](const std::string& path, AnalysisTables&) {
        const int now = ++working;
        int before = greatest;
        while (now > before && !greatest.compare_exchange_weak(before, now)) {
        }
        std::this_thread::sleep_for(milliseconds(1));
        --working;
        return analysisNamed(path);
    };
    {
        PairBench one(cores);
        PairBench two(cores);
        std::thread other([&] {
            for (int k = 0; k < 20; ++k) {
                two.analyze("c", "d", analyze);
            }
        });
        for (int k = 0; k < 20; ++k) {
            one.analyze("a", "b", analyze);
        }
        other.join();
    }
    EXPECT_LE(greatest, most);
    EXPECT_GT(greatest, 1);
}

TEST(PairBench, WithoutMemoryForBothAtOnceOneFollowsTheOther) {
    for (const std::string shortOf : {"a", "b"}) {
        FreeCores cores(4);
        PairBench bench(cores);
        const auto caller = std::this_thread::get_id();
        std::atomic<int> shortages{0};
        std::vector<std::string> remade;
        const auto analyze = [&](const std::string& path, AnalysisTables&) {
            if (shortages == 0 && path == shortOf) {
                ++shortages;
                throw MemoryShortage("too little");
            }
            if (shortages > 0 && std::this_thread::get_id() == caller) {
                remade.push_back(path);
            }
            return analysisNamed(path);
        };
        const auto [first, second] = bench.analyze("a", "b", analyze);
        EXPECT_EQ(first->remarks, std::vector<std::string>{"a"});
        EXPECT_EQ(second->remarks, std::vector<std::string>{"b"});
        EXPECT_EQ(remade.back(), "b");
        EXPECT_FALSE(cores.takeIdle());
    }
}

TEST(PairBench, OtherFailuresAreTheFirstPhotographs) {
    FreeCores cores(2);
    PairBench bench(cores);
    const auto analyze = [](const std::string& path, AnalysisTables&) -> AnalysisCache::Shared { throw Refusal(path); };
    try {
        bench.analyze("a", "b", analyze);
        FAIL();
    } catch (const Refusal& refusal) {
        EXPECT_STREQ(refusal.what(), "a");
    }
    EXPECT_TRUE(cores.takeIdle());
}

}  // namespace
}  // namespace likeness::testing
