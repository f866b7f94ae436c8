#include "report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace {

using Run = benchmark::BenchmarkReporter::Run;
using Cells = std::vector<std::string>;

std::string formatted(const char* format, double value, const char* unit = "")
{
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return std::string(text) + unit;
}

std::string formatTime(double seconds)
{
    struct Scale
    {
        double below;
        double factor;
        const char* unit;
    };
    constexpr Scale scales[] = {
        {1e-6, 1e9, " ns"}, {1e-3, 1e6, " µs"}, {1, 1e3, " ms"}, {HUGE_VAL, 1, " s"}};
    const Scale& scale = *std::find_if(std::begin(scales), std::end(scales),
        [seconds](const Scale& candidate) { return std::fabs(seconds) < candidate.below; });
    const double value = seconds * scale.factor;
    return formatted(std::fabs(value) < 10    ? "%.2f"
                     : std::fabs(value) < 100 ? "%.1f"
                                              : "%.0f",
        value, scale.unit);
}

// How many columns UTF-8 text takes on the terminal.
size_t columns(const std::string& text)
{
    return size_t(
        std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xc0) != 0x80; }));
}

void printRow(const Cells& cells, const std::vector<size_t>& widths)
{
    for (size_t i = 0; i < cells.size(); ++i) {
        const std::string padding(widths[i] - columns(cells[i]), ' ');
        // The text columns lean left, the figures right.
        const bool isText = i == 0 || i == 2 || i == 5;
        std::printf("%s%s%s", i ? "  " : "", (isText ? cells[i] : padding).c_str(),
            (isText ? padding : cells[i]).c_str());
    }
    std::printf("\n");
}

Run makeRun(const std::string& name, Report::Unit unit, double value)
{
    Run run;
    run.run_name.function_name = name;
    run.family_index = 0;
    run.per_family_instance_index = 0;
    run.repetition_index = 0;
    run.repetitions = 1;
    run.statistics = nullptr;
    run.time_unit = benchmark::kMicrosecond;
    if (unit == Report::Unit::Count)
        run.counters["count"] = value;
    else
        run.real_accumulated_time = run.cpu_accumulated_time = value;
    return run;
}

// Takes "--name=value" out of the arguments.
std::string takeOption(std::vector<char*>& arguments, const std::string& name)
{
    const std::string prefix = name + "=";
    std::string value;
    const auto isOption = [&](const char* argument) {
        return std::strncmp(argument, prefix.c_str(), prefix.size()) == 0;
    };
    for (const char* argument : arguments) {
        if (isOption(argument))
            value = argument + prefix.size();
    }
    arguments.erase(std::remove_if(arguments.begin(), arguments.end(), isOption), arguments.end());
    return value;
}

} // namespace

/** Hands the runs of Google Benchmark's loops to the report. */
class Report::Collector : public benchmark::BenchmarkReporter
{
public:
    explicit Collector(Report& report)
        : mReport(report)
    {}

    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            mReport.mRuns.push_back(run);
            if (run.error_occurred)
                mReport.fail(run.run_name.function_name, run.error_message);
            else if (run.run_type == Run::RT_Iteration)
                mReport.mMeasurements[run.run_name.function_name].values.push_back(
                    run.cpu_accumulated_time / double(run.iterations));
        }
    }

private:
    Report& mReport;
};

double percentile(std::vector<double> values, double rank)
{
    if (values.empty())
        return 0;
    const auto position = values.begin() + std::lround(rank * double(values.size() - 1));
    std::nth_element(values.begin(), position, values.end());
    return *position;
}

Report::Report(int argc, char** argv)
{
    std::vector<char*> arguments(argv, argv + argc);
    mOutputFile = takeOption(arguments, "--benchmark_out");
    const std::string format = takeOption(arguments, "--benchmark_out_format");
    if (!format.empty() && format != "json") {
        std::fprintf(stderr, "%s: the output format is json\n", argv[0]);
        std::exit(2);
    }

    // Before the caller's own, which win.
    static char defaults[][64] = {"--benchmark_repetitions=5", "--benchmark_min_time=0.1",
        "--benchmark_enable_random_interleaving=true"};
    arguments.insert(arguments.begin() + 1, std::begin(defaults), std::end(defaults));
    int count = int(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        std::exit(2);
}

void Report::runLoops()
{
    Collector collector(*this);
    if (benchmark::RunSpecifiedBenchmarks(&collector) == 0)
        mFailed = true;
}

void Report::add(const std::string& name, Unit unit, const std::vector<double>& values)
{
    mMeasurements[name] = {unit, values};
    for (size_t i = 0; i < values.size(); ++i) {
        mRuns.push_back(makeRun(name, unit, values[i]));
        mRuns.back().repetition_index = int64_t(i);
        mRuns.back().repetitions = int64_t(values.size());
    }
    if (values.size() > 1) {
        mRuns.push_back(makeRun(name, unit, percentile(values, 0.5)));
        mRuns.back().run_type = Run::RT_Aggregate;
        mRuns.back().aggregate_name = "median";
        mRuns.back().repetitions = int64_t(values.size());
    }
}

void Report::fail(const std::string& name, const std::string& reason)
{
    std::fprintf(stderr, "%s: %s\n", name.c_str(), reason.c_str());
    mFailed = true;
}

int Report::finish(const std::vector<Comparison>& comparisons)
{
    printTable(comparisons);
    if (!mOutputFile.empty() && !writeJson()) {
        std::fprintf(stderr, "can't write %s\n", mOutputFile.c_str());
        mFailed = true;
    }
    return mFailed ? 1 : 0;
}

void Report::printTable(const std::vector<Comparison>& comparisons) const
{
    std::vector<Cells> rows = {{"figure", "median", "beside", "median", "ratio", "goal"}};
    const auto show = [](const Measurement& measurement) {
        const double value = percentile(measurement.values, 0.5);
        return measurement.unit == Unit::Count ? formatted("%.6g", value) : formatTime(value);
    };
    for (const Comparison& comparison : comparisons) {
        const auto figure = mMeasurements.find(comparison.figure);
        if (figure == mMeasurements.end())
            continue;
        Cells row = {
            figure->first, show(figure->second), comparison.peer, "-", "-", comparison.goal};
        const auto peer = mMeasurements.find(comparison.peer);
        if (peer != mMeasurements.end()) {
            const double limit = percentile(peer->second.values, 0.5);
            row[3] = show(peer->second);
            if (limit > 0)
                row[4] = formatted("%.3g", percentile(figure->second.values, 0.5) / limit);
        }
        rows.push_back(row);
    }

    std::vector<size_t> widths(rows.front().size());
    for (const Cells& row : rows) {
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], columns(row[i]));
    }
    for (const Cells& row : rows)
        printRow(row, widths);
}

bool Report::writeJson() const
{
    std::ofstream file(mOutputFile);
    benchmark::JSONReporter json;
    json.SetOutputStream(&file);
    json.ReportContext(benchmark::BenchmarkReporter::Context());
    json.ReportRuns(mRuns);
    json.Finalize();
    file.close();
    return file.good();
}
