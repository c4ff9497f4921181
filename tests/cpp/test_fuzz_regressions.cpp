// Every input that once broke a fuzzing harness, kept in tests/fuzz/regressions/<harness>/ and run
// through that harness again: each must be refused with a library error or read correctly. A
// crash, a sanitizer report, an escaping exception or a broken promise fails, and so does an
// input still running after a generous bound or taking as much memory as the fuzzers allow.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tests/fuzz/harnesses.h"

namespace plox::ipl::fuzz {

// Test names and messages show the harness by name.
void PrintTo(const Harness& harness, std::ostream* out) { *out << harness.name; }

}  // namespace plox::ipl::fuzz

namespace fs = std::filesystem;
using plox::ipl::fuzz::Harness;
using plox::ipl::fuzz::kHarnesses;

namespace {

const fs::path kRegressions = fs::path(__FILE__).parent_path().parent_path() / "fuzz" / "regressions";
// Each input takes milliseconds; only a hang comes near this, even under the sanitizers.
constexpr auto kTimeBound = std::chrono::seconds(20);
// The fuzzers' -rss_limit_mb: what a file of a few KiB may cost at most.
constexpr std::size_t kMemoryBound = std::size_t{512} << 20;

std::size_t peak_resident_bytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::size_t>(usage.ru_maxrss) * 1024;
}

std::vector<fs::path> kept_inputs(const Harness& harness) {
    std::vector<fs::path> inputs;
    const fs::path folder = kRegressions / harness.name;
    if (!fs::is_directory(folder)) return inputs;
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.is_regular_file() && entry.path().filename().string()[0] != '.') inputs.push_back(entry.path());
    return inputs;
}

std::shared_ptr<const std::vector<std::uint8_t>> contents(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    auto bytes = std::make_shared<std::vector<std::uint8_t>>(std::istreambuf_iterator<char>(in),
                                                             std::istreambuf_iterator<char>());
    bytes->reserve(1);  // a real pointer even for an empty input, as libFuzzer passes
    return bytes;
}

class FuzzRegressions : public testing::TestWithParam<Harness> {};

TEST_P(FuzzRegressions, KeptInputsAreRefusedOrRead) {
    for (const fs::path& path : kept_inputs(GetParam())) {
        SCOPED_TRACE(path.string());
        const auto input = contents(path);
        const std::size_t peak_before = peak_resident_bytes();
        // On a thread of its own, so that a hang fails the test instead of stalling the run. A
        // hung harness cannot be stopped: it is left behind, holding its own copy of the input.
        auto run = std::make_shared<std::packaged_task<void()>>(
            [input, harness = GetParam()] { harness.run(input->data(), input->size()); });
        std::future<void> done = run->get_future();
        std::thread([run] { (*run)(); }).detach();
        if (done.wait_for(kTimeBound) != std::future_status::ready) {
            ADD_FAILURE() << "still running after " << kTimeBound.count() << " s";
            continue;
        }
        EXPECT_NO_THROW(done.get());
        EXPECT_LE(peak_resident_bytes() - peak_before, kMemoryBound)
            << "the process's peak memory grew by " << ((peak_resident_bytes() - peak_before) >> 20) << " MiB";
    }
}

INSTANTIATE_TEST_SUITE_P(Harnesses, FuzzRegressions, testing::ValuesIn(kHarnesses),
                         [](const testing::TestParamInfo<Harness>& info) { return std::string(info.param.name); });

// A folder whose name matches no harness would keep its inputs out of every run.
TEST(FuzzRegressionFolders, EachNamesAHarness) {
    ASSERT_TRUE(fs::is_directory(kRegressions)) << kRegressions;
    for (const auto& entry : fs::directory_iterator(kRegressions)) {
        if (!entry.is_directory()) continue;
        const std::string name = entry.path().filename().string();
        bool known = false;
        for (const Harness& harness : kHarnesses) known = known || name == harness.name;
        EXPECT_TRUE(known) << name << " is not a harness";
    }
}

}  // namespace
