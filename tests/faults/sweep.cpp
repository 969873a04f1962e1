// SPDX-License-Identifier: BSD-3-Clause
#include "faults/sweep.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <random>
#include <string_view>

#include <gtest/gtest.h>

#include "pcbin_las/platform/singleton.h"
#include "pcbin_las/platform/tracer.h"

namespace test {
namespace {

/// Counts error and warning lines without allocating memory.
struct CountingSink : ferrun::TracerSink {
  void write(const char* lines, std::size_t size) override {
    const std::string_view text(lines, size);
    for (const char* const tag : {"<E>", "<W>"})
      for (auto i = text.find(tag); i != text.npos; i = text.find(tag, i + 1)) ++count;
  }
  std::atomic<int> count = 0;
};

/// The faults of a sweep over a run that makes `calls`.
std::vector<std::vector<Fault>> faultsFor(const std::vector<unsigned>& calls) {
  const bool whole = std::getenv("PCBIN_LONG_SWEEPS") != nullptr;
  std::vector<std::vector<Fault>> all;
  for (const Call call : kEveryCall) {
    const unsigned count = calls[static_cast<std::size_t>(call)];
    for (unsigned number = 1; number <= count; number += whole || count < 12 ? 1 : 1 + count / 3) {
      for (const bool forGood : {false, true}) {
        all.push_back({{call, number, forGood}});
        if (call == Call::kAllocate)
          all.push_back({{call, number, forGood}, {Call::kWrite, 2, true}});
      }
    }
  }
  std::mt19937 random(19);
  const auto pick = [&] {
    const Call call = kEveryCall[random() % std::size(kEveryCall)];
    const auto number = 1 + random() % (calls[static_cast<std::size_t>(call)] + 1);
    return Fault{call, static_cast<unsigned>(number), random() % 2 == 0};
  };
  for (int pair = whole ? 500 : 4; pair > 0; --pair) all.push_back({pick(), pick()});
  return all;
}

}  // namespace

int linesTold() {
  auto* const tracer = ferrun::Singleton<ferrun::Tracer>::getInstance();
  static const auto sink = [tracer] {
    auto made = std::make_shared<CountingSink>();
    tracer->addSink(made);
    tracer->start();
    return made;
  }();
  tracer->flush();
  return sink->count.exchange(0);
}

bool hits(const std::vector<Fault>& faults, Call call) {
  return std::ranges::any_of(faults, [call](const Fault& fault) { return fault.call == call; });
}

void sweep(const std::function<void(const std::vector<Fault>&)>& run) {
  linesTold();
  run({});
  std::vector<unsigned> calls;
  for (const Call call : kEveryCall) calls.push_back(FaultInjection::calls(call));
  ASSERT_GT(calls[0], 0U);
  const auto all = faultsFor(calls);
  for (const auto& faults : all) {
    testing::Message message;
    for (const Fault& fault : faults)
      message << "call " << static_cast<int>(fault.call) << ", number " << fault.number
              << ", for good " << fault.forGood << "; ";
    SCOPED_TRACE(message);
    linesTold();
    run(faults);
    if (testing::Test::HasFailure()) return;
  }
  testing::Test::RecordProperty("faults", static_cast<int>(all.size()));
}

}  // namespace test
