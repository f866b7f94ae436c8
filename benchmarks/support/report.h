#ifndef SUPPORT_REPORT_H
#define SUPPORT_REPORT_H

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

/** A row of the table: one measurement and what stands beside it, both by name. */
struct Comparison
{
    std::string figure;
    std::string peer; /**< a measurement of the same run: a peer, or the bare limit */
    std::string goal; /**< as shown; empty: none */
};

/**
 * Collects what a benchmark program measures, prints it as a table of figures beside their peers
 * and writes all of it as Google Benchmark's JSON.
 *
 * Takes Google Benchmark's options: --benchmark_out=FILE, --benchmark_out_format=json (the only
 * one), and for its loops the others, such as --benchmark_filter and --benchmark_repetitions.
 */
class Report
{
public:
    enum class Unit
    {
        Seconds,
        Count
    };

    /** Ends the program with status 2 when an option is unknown. */
    Report(int argc, char** argv);

    /**
     * Runs the loops registered with Google Benchmark, by default five times in random order, so
     * that a noisy moment of the machine doesn't fall on one of them alone. The figure of a loop
     * is the processor time of one pass.
     */
    void runLoops();

    /** Adds what the program measured by itself, one value for each round. */
    void add(const std::string& name, Unit unit, const std::vector<double>& values);

    /** Says that something could not be measured; finish() then returns 1. */
    void fail(const std::string& name, const std::string& reason);

    /** Prints the medians, writes the JSON. @return the program's exit status */
    int finish(const std::vector<Comparison>& comparisons);

private:
    class Collector;
    struct Measurement
    {
        Unit unit = Unit::Seconds;
        std::vector<double> values;
    };

    void printTable(const std::vector<Comparison>& comparisons) const;
    bool writeJson() const;

    std::string mOutputFile;
    std::map<std::string, Measurement> mMeasurements;
    std::vector<benchmark::BenchmarkReporter::Run> mRuns;
    bool mFailed = false;
};

/** The value below which the share @p rank (0 to 1) of the values lies; 0 when there is none. */
double percentile(std::vector<double> values, double rank);

#endif
