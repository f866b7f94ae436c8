#ifndef MONITORRECORDER_H
#define MONITORRECORDER_H

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

struct pa_context;
struct pa_stream;
struct pa_threaded_mainloop;

/** Mono sound of 48 kHz, and when each sample was heard. */
struct Recording
{
    static constexpr int rate = 48000;

    /** A sample, and what the sound server says when it is heard: µs of the wall clock. */
    struct Stamp
    {
        int64_t index;
        int64_t time;
    };

    std::vector<int16_t> samples;
    std::vector<Stamp> stamps;

    /** When the sample was heard: the middle of what was said within a second around it. */
    int64_t timeOf(int64_t index) const;
};

/**
 * Records what a sink of PulseAudio plays. The server tells for each piece how long ago it was
 * heard, or how soon it will be: what a monitor hears is rendered ahead by the sink's latency.
 */
class MonitorRecorder
{
public:
    explicit MonitorRecorder(const std::string& source);
    ~MonitorRecorder();
    MonitorRecorder(const MonitorRecorder&) = delete;
    MonitorRecorder& operator=(const MonitorRecorder&) = delete;

    /** Why nothing is recorded; empty: it is. */
    std::string problem() const;

    /** All that was recorded so far. */
    Recording recording() const;

private:
    void onContextState();
    void onReadable();

    std::string const mSource;
    pa_threaded_mainloop* mLoop;
    pa_context* mContext;
    pa_stream* mStream = nullptr;
    mutable std::mutex mMutex;
    Recording mRecording;
    std::string mProblem = "the sound server doesn't answer";
};

#endif
