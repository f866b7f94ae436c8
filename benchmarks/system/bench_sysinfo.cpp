#include "barefile.h"
#include "redisserver.h"
#include "support/clocks.h"
#include "support/report.h"
#include "support/systemcalls.h"

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <unistd.h>

#include "system/sysinfo.h"

namespace {

using Operation = std::function<bool()>;

constexpr char key[] = "net/ip";
constexpr const char* directories[2] = {"store", "store/net"};
constexpr char keyFile[] = "store/net/ip";
constexpr char peerFile[] = "store/net/bare";

constexpr int rounds = 5;
constexpr double roundTime = 0.3; // seconds
constexpr long tracedCalls = 1000;

struct Size
{
    size_t bytes;
    const char* name;
};
constexpr Size sizes[] = {{8, "8 bytes"}, {65536, "64 KiB"}};

/** A place of its own for the store and the server's socket: the current directory for as long. */
class Place
{
public:
    Place()
    {
        // In memory, as a file system for run-time data is.
        const char* const memory = "/dev/shm";
        mPath = access(memory, W_OK) == 0 ? std::filesystem::path(memory)
                                          : std::filesystem::temp_directory_path();
        mPath /= "bench_sysinfo.XXXXXX";
        std::string text = mPath;
        if (mkdtemp(text.data()) && chdir(text.c_str()) == 0)
            mIsThere = true;
        mPath = text;
        setenv("SYSINFO_PROFILE", directories[0], 1);
    }
    ~Place()
    {
        std::error_code ignored;
        std::filesystem::current_path(mBefore, ignored);
        std::filesystem::remove_all(mPath, ignored);
    }
    Place(Place const&) = delete;
    Place& operator=(Place const&) = delete;

    explicit operator bool() const { return mIsThere; }

private:
    std::filesystem::path const mBefore = std::filesystem::current_path();
    std::filesystem::path mPath;
    bool mIsThere = false;
};

bool getCopy()
{
    char* const value = sysinfo_get_string(key, nullptr);
    benchmark::DoNotOptimize(value);
    std::free(value);
    return value;
}

bool getString()
{
    return !sysinfo::get_string(key, std::string()).empty();
}

bool getBare(barefile::Unlock unlock)
{
    char* const value = barefile::read(keyFile, unlock);
    benchmark::DoNotOptimize(value);
    std::free(value);
    return value;
}

void loop(benchmark::State& state, const Operation& operation)
{
    for (auto _ : state) {
        if (!operation()) {
            state.SkipWithError("failed");
            break;
        }
    }
}

/** Seconds that one operation takes: that pass, and of the processors, a server's included. */
struct Cost
{
    std::vector<double> elapsed;
    std::vector<double> processor;
};

bool measureRound(const Operation& operation, pid_t other, Cost& cost)
{
    const auto processors = [other] {
        return processorTime() + (other > 0 ? processorTime(other) : 0);
    };
    const double used = processors();
    const double start = monotonicTime();
    double now = start;
    long count = 0;
    while (now < start + roundTime) {
        for (int i = 0; i < 100; ++i) {
            if (!operation())
                return false;
        }
        count += 100;
        now = monotonicTime();
    }
    cost.elapsed.push_back((now - start) / double(count));
    cost.processor.push_back((processors() - used) / double(count));
    return true;
}

class Benchmark
{
public:
    Benchmark(Report& report, RedisServer& redis)
        : mReport(report)
        , mRedis(redis)
    {}

    const std::vector<Comparison>& comparisons() const { return mComparisons; }

    void registerLoops(const Size& size);
    void besideRedis(const Size& size);
    void countCalls();

private:
    void compare(const std::string& figure, const std::string& peer, const char* goal)
    {
        mComparisons.push_back({figure, peer, goal});
    }

    Report& mReport;
    RedisServer& mRedis;
    std::vector<Comparison> mComparisons;
};

void Benchmark::registerLoops(const Size& size)
{
    const std::string value(size.bytes, 'v');
    const std::string what = std::string(", ") + size.name;
    // Loops come in any order, those of other sizes between them.
    const auto addRead = [value](const std::string& name, const Operation& operation) {
        benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
            sysinfo_set_string(key, value.c_str());
            loop(state, operation);
        });
    };
    addRead("get_string" + what, getString);
    addRead("sysinfo_get_string" + what, getCopy);
    addRead("bare get" + what, [] { return getBare(barefile::Unlock::ByClosing); });
    addRead("bare get, flock twice" + what, [] { return getBare(barefile::Unlock::Explicitly); });
    benchmark::RegisterBenchmark(("sysinfo_set_string" + what).c_str(), loop,
        [value] { return sysinfo_set_string(key, value.c_str()) == 1; });
    benchmark::RegisterBenchmark(("bare set" + what).c_str(), loop,
        [value] { return barefile::write(directories, peerFile, value); });

    compare("sysinfo_get_string" + what, "bare get" + what, "at most 1.3");
    compare("sysinfo_get_string" + what, "bare get, flock twice" + what, "");
    compare("get_string" + what, "bare get" + what, "at most 1.3");
    compare("get_string" + what, "bare get, flock twice" + what, "");
    compare("sysinfo_set_string" + what, "bare set" + what, "at most 1.3");
}

void Benchmark::besideRedis(const Size& size)
{
    const std::string value(size.bytes, 'v');
    const std::string what = std::string(", ") + size.name;
    std::string seen;
    struct Side
    {
        std::string name;
        Operation operation;
        pid_t other;
        Cost cost;
    };
    Side sides[] = {
        {"set" + what, [&] { return sysinfo_set_string(key, value.c_str()) == 1; }, 0, {}},
        {"Redis SET" + what, [&] { return mRedis.set(key, value); }, mRedis.pid(), {}},
        {"get" + what, [&] { return !(seen = sysinfo::get_string(key, "")).empty(); }, 0, {}},
        {"Redis GET" + what, [&] { return mRedis.get(key, seen); }, mRedis.pid(), {}},
    };
    for (int round = 0; round < rounds; ++round) {
        for (Side& side : sides) {
            if (!measureRound(side.operation, side.other, side.cost))
                mReport.fail(side.name, "failed");
        }
        if (seen != value)
            mReport.fail(sides[3].name, "another value");
    }
    for (const Side& side : sides) {
        mReport.add(side.name + ", elapsed", Report::Unit::Seconds, side.cost.elapsed);
        mReport.add(side.name + ", CPU", Report::Unit::Seconds, side.cost.processor);
    }
    for (const char* figure : {", elapsed", ", CPU"}) {
        compare(sides[2].name + figure, sides[3].name + figure, "");
        compare(sides[0].name + figure, sides[1].name + figure, "");
    }
}

void Benchmark::countCalls()
{
    const auto count = [this](const std::string& name, const Operation& operation) {
        const long calls = countSystemCalls([&] { operation(); },
            [&] {
                for (long i = 0; i < tracedCalls; ++i)
                    operation();
            });
        if (calls < 0)
            mReport.fail(name, "the process can't be traced");
        else
            mReport.add(name, Report::Unit::Count, {double(calls) / double(tracedCalls)});
    };
    count("system calls of a get", getCopy);
    count("of a bare get, flock twice", [] { return getBare(barefile::Unlock::Explicitly); });
    count("system calls of a set", [] { return sysinfo_set_string(key, "10.0.0.2") == 1; });
    count("of a bare set", [] { return barefile::write(directories, peerFile, "10.0.0.2"); });
    compare("system calls of a get", "of a bare get, flock twice", "");
    compare("system calls of a set", "of a bare set", "");
}

/** Measures everything in a place of its own; @return what is to be compared. */
std::vector<Comparison> measure(Report& report)
{
    const Place place;
    if (!place) {
        report.fail("the store", "there is no place for it");
        return {};
    }
    RedisServer redis("redis.sock");
    Benchmark benchmark(report, redis);
    for (const Size& size : sizes)
        benchmark.registerLoops(size);
    report.runLoops();
    benchmark.countCalls();
    if (!redis.error().empty()) {
        report.fail("Redis", redis.error());
    } else {
        for (const Size& size : sizes)
            benchmark.besideRedis(size);
    }
    return benchmark.comparisons();
}

} // namespace

int main(int argc, char** argv)
{
    Report report(argc, argv);
    return report.finish(measure(report));
}
