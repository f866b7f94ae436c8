#include "failure.h"
#include "ffmpeginput.h"
#include "options.h"
#include "pacer.h"
#include "publisher.h"
#include "report.h"
#include "stream.h"
#include "testsource.h"

#include <signal.h>

#include <cstdio>
#include <memory>

namespace {

constexpr int ExitFailed = 1;
constexpr int ExitUsage = 2;

std::unique_ptr<Source> makeSource(Options const& options)
{
    if (options.input.empty())
        return std::make_unique<TestSource>(options);
    return std::make_unique<FfmpegInput>(options);
}

void publish(Options const& options)
{
    Pacer pacer;
    // Declared before the source: what its decoders still hold belongs to the stream.
    std::unique_ptr<Stream> stream;
    std::unique_ptr<Source> const source = makeSource(options);
    if (!source->open(pacer))
        return;
    stream = std::make_unique<Stream>(options, source->format());
    source->attach(*stream);
    Report report(options, *stream);
    Publisher(*source, *stream, pacer, report, options.duration).run();
    report.finish();
    if (std::string const error = source->error(); !error.empty())
        throw Failure(error);
}

int run(CommandLine const& line)
{
    switch (line.action) {
    case CommandLine::Action::Help:
        std::fputs(usage().c_str(), stdout);
        return 0;
    case CommandLine::Action::Version:
        std::puts("shm-publish " SHM_PUBLISH_VERSION);
        return 0;
    case CommandLine::Action::Refuse:
        std::fprintf(stderr, "shm-publish: %s; see shm-publish --help\n", line.error.c_str());
        return ExitUsage;
    case CommandLine::Action::Publish:
        break;
    }
    publish(line.options);
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    // Who reads the statistics or serves the input may go away; write errors tell enough.
    signal(SIGPIPE, SIG_IGN);
    try {
        return run(parseCommandLine({argv + 1, argv + argc}));
    } catch (std::exception const& failure) {
        std::fprintf(stderr, "shm-publish: %s\n", failure.what());
        return ExitFailed;
    }
}
