#include "transport.h"

#include "support/childprocess.h"
#include "support/clocks.h"
#include "support/report.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include <unistd.h>

namespace {

constexpr int rounds = 5;

struct Outcome
{
    // One value for each round.
    std::vector<double> readerTime; // processor time per frame, s
    std::vector<double> lookTime;   // part of it
    std::vector<double> writerTime;
    std::vector<double> seen; // frames
    // One value for each frame.
    std::vector<double> latencies; // s
};

// Its bytes don't matter, but that the kernel can't share one page of zeros for all of it does.
std::vector<uint8_t> makePicture()
{
    std::vector<uint8_t> picture(frameBytes);
    for (size_t i = 0; i < picture.size(); ++i)
        picture[i] = uint8_t(i * 7 + i / 4096);
    return picture;
}

void copyPicture(const std::vector<uint8_t>& picture, const FramePlanes& planes)
{
    const uint8_t* line = picture.data();
    for (int i = 0; i < 3; ++i) {
        const int width = i ? frameWidth / 2 : frameWidth;
        const int lines = i ? frameHeight / 2 : frameHeight;
        for (int y = 0; y < lines; ++y, line += width)
            std::memcpy(planes.plane[i] + ptrdiff_t(y) * planes.stride[i], line, size_t(width));
    }
}

// Reports the processor time per frame once the last one has gone, and stays for the receiver.
void sendFrames(
    const Transport& transport, const Round& round, const std::vector<uint8_t>& picture, Line& line)
{
    const std::unique_ptr<FrameSender> sender = transport.makeSender(round);
    if (!sender || !line.signal() || !line.wait())
        return;
    double began = 0;
    int64_t interval = nextFrameInterval();
    for (int64_t index = 1; index <= FrameLog::last; ++index) {
        sleepUntilFrameInterval(interval++, 0);
        FramePlanes planes;
        if (!sender->acquire(planes)) {
            std::fprintf(stderr, "%s: no room for a frame\n", transport.name.c_str());
            return;
        }
        copyPicture(picture, planes);
        const FrameMark mark = {index, monotonicTime()};
        std::memcpy(planes.plane[0], &mark, sizeof mark);
        sender->publish();
        if (index == FrameLog::warmUp)
            began = processorTime();
    }
    line.send({(processorTime() - began) / double(FrameLog::measured)});
    line.wait();
}

// Reports the processor times per frame, then the latencies.
void receiveFrames(const Transport& transport, const Round& round, Line& line)
{
    FrameLog log;
    transport.receive(
        round, [&line] { line.signal(); }, log);
    if (log.span() == 0)
        return;
    const auto span = double(log.span());
    std::vector<double> result = {log.processorTimeUsed() / span, log.lookTime() / span};
    result.insert(result.end(), log.latencies().begin(), log.latencies().end());
    line.send(result);
}

bool runRound(const Transport& transport, const Round& round, const std::vector<uint8_t>& picture,
    Outcome& outcome)
{
    ChildProcess sender([&](Line& line) { sendFrames(transport, round, picture, line); });
    if (!sender.line().wait())
        return false;
    ChildProcess receiver([&](Line& line) { receiveFrames(transport, round, line); });
    std::vector<double> sent;
    std::vector<double> received;
    if (!receiver.line().wait() || !sender.line().signal() || !receiver.line().receive(received) ||
        !sender.line().receive(sent))
        return false;
    const auto latencies = received.begin() + 2;
    outcome.readerTime.push_back(received[0]);
    outcome.lookTime.push_back(received[1]);
    outcome.writerTime.push_back(sent.front());
    outcome.seen.push_back(double(received.end() - latencies));
    outcome.latencies.insert(outcome.latencies.end(), latencies, received.end());
    return true;
}

const std::string readerTime = ": reader CPU/frame";
const std::string lookTime = ": of it in the library";
const std::string writerTime = ": writer CPU/frame";
const std::string median = ": p50 until locked";
const std::string slowest = ": p99 until locked";
const std::string seen = ": frames seen of " + std::to_string(FrameLog::measured);

void addOutcome(Report& report, const std::string& name, const Outcome& outcome)
{
    const auto seconds = Report::Unit::Seconds;
    report.add(name + readerTime, seconds, outcome.readerTime);
    report.add(name + lookTime, seconds, outcome.lookTime);
    report.add(name + writerTime, seconds, outcome.writerTime);
    report.add(name + median, seconds, {percentile(outcome.latencies, 0.5)});
    report.add(name + slowest, seconds, {percentile(outcome.latencies, 0.99)});
    report.add(name + seen, Report::Unit::Count, outcome.seen);
}

std::vector<Comparison> compareTransports()
{
    const std::string gstreamer = gstreamerTransport().name;
    const std::string wakeUp = bareWakeUp().name;
    std::vector<Comparison> rows;
    for (const Tick tick : {Tick::EveryFrame, Tick::EveryMillisecond}) {
        const std::string stream = streamTransport(tick).name;
        const std::string bare = bareTick(tick).name;
        rows.push_back({stream + readerTime, gstreamer + readerTime, "ratio at most 0.2"});
        rows.push_back({stream + readerTime, bare + readerTime, ""});
        rows.push_back({stream + lookTime, gstreamer + readerTime, ""});
        for (const std::string& what : {median, slowest}) {
            rows.push_back({stream + what, gstreamer + what, ""});
            rows.push_back({stream + what, bare + what, ""});
        }
        rows.push_back({stream + seen, gstreamer + seen, ""});
        rows.push_back({stream + writerTime, gstreamer + writerTime, ""});
    }
    for (const std::string& what : {readerTime, median, slowest})
        rows.push_back({gstreamer + what, wakeUp + what, ""});
    return rows;
}

} // namespace

int main(int argc, char** argv)
{
    Report report(argc, argv);
    const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
    std::string folder = std::string(runtime ? runtime : "/tmp") + "/bench-handover-XXXXXX";
    if (!mkdtemp(folder.data())) {
        std::perror(folder.c_str());
        return 1;
    }

    const Transport transports[] = {streamTransport(Tick::EveryFrame), bareTick(Tick::EveryFrame),
        streamTransport(Tick::EveryMillisecond), bareTick(Tick::EveryMillisecond),
        gstreamerTransport(), bareWakeUp()};
    const std::vector<uint8_t> picture = makePicture();
    std::map<std::string, Outcome> outcomes;
    // By turns, so that a noisy moment of the machine doesn't fall on one of them alone.
    for (int i = 0; i < rounds; ++i) {
        // Spread evenly, since the latency of a tick depends on it.
        const double phase = (i + 0.5) / rounds;
        for (const Transport& transport : transports) {
            const Round round = {folder + "/frames", phase};
            if (!runRound(transport, round, picture, outcomes[transport.name]))
                report.fail(transport.name, "a round came to no end");
        }
    }
    if (rmdir(folder.c_str()) < 0)
        std::perror(folder.c_str());

    for (const auto& [name, outcome] : outcomes)
        addOutcome(report, name, outcome);
    return report.finish(compareTransports());
}
