#include "monitorrecorder.h"

#include <algorithm>
#include <ctime>

#include <pulse/pulseaudio.h>

namespace {

constexpr pa_sample_spec format = {PA_SAMPLE_S16LE, Recording::rate, 1};
constexpr uint32_t fragment = Recording::rate / 100 * sizeof(int16_t);
constexpr int64_t surroundings = Recording::rate / 2;

int64_t wallClock()
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return int64_t(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

int64_t duration(int64_t samples)
{
    return samples * 1000000 / Recording::rate;
}

} // namespace

int64_t Recording::timeOf(int64_t index) const
{
    std::vector<int64_t> starts;
    for (const Stamp& stamp : stamps) {
        if (std::abs(stamp.index - index) <= surroundings)
            starts.push_back(stamp.time - duration(stamp.index));
    }
    if (starts.empty())
        return 0;
    const auto middle = starts.begin() + long(starts.size() / 2);
    std::nth_element(starts.begin(), middle, starts.end());
    return *middle + duration(index);
}

MonitorRecorder::MonitorRecorder(const std::string& source)
    : mSource(source)
    , mLoop(pa_threaded_mainloop_new())
    , mContext(pa_context_new(pa_threaded_mainloop_get_api(mLoop), "recorder"))
{
    pa_context_set_state_callback(
        mContext,
        [](pa_context*, void* self) { static_cast<MonitorRecorder*>(self)->onContextState(); },
        this);
    pa_context_connect(mContext, nullptr, PA_CONTEXT_NOFLAGS, nullptr);
    pa_threaded_mainloop_start(mLoop);
}

MonitorRecorder::~MonitorRecorder()
{
    pa_threaded_mainloop_stop(mLoop);
    if (mStream) {
        pa_stream_disconnect(mStream);
        pa_stream_unref(mStream);
    }
    pa_context_disconnect(mContext);
    pa_context_unref(mContext);
    pa_threaded_mainloop_free(mLoop);
}

std::string MonitorRecorder::problem() const
{
    const std::lock_guard lock(mMutex);
    return mProblem;
}

Recording MonitorRecorder::recording() const
{
    const std::lock_guard lock(mMutex);
    return mRecording;
}

void MonitorRecorder::onContextState()
{
    if (pa_context_get_state(mContext) != PA_CONTEXT_READY)
        return;
    mStream = pa_stream_new(mContext, "recording", &format, nullptr);
    pa_stream_set_read_callback(
        mStream,
        [](pa_stream*, size_t, void* self) { static_cast<MonitorRecorder*>(self)->onReadable(); },
        this);
    pa_buffer_attr attributes = {};
    attributes.maxlength = uint32_t(-1);
    attributes.fragsize = fragment;
    pa_stream_connect_record(mStream, mSource.c_str(), &attributes,
        pa_stream_flags_t(PA_STREAM_ADJUST_LATENCY | PA_STREAM_INTERPOLATE_TIMING |
                          PA_STREAM_AUTO_TIMING_UPDATE | PA_STREAM_DONT_MOVE));
}

void MonitorRecorder::onReadable()
{
    const std::lock_guard lock(mMutex);
    pa_usec_t latency = 0;
    int ahead = 0;
    const bool isTimed = pa_stream_get_latency(mStream, &latency, &ahead) == 0;
    const int64_t now = wallClock();
    if (isTimed) {
        const int64_t age = ahead ? -int64_t(latency) : int64_t(latency);
        mRecording.stamps.push_back({int64_t(mRecording.samples.size()), now - age});
    }
    const void* data = nullptr;
    size_t size = 0;
    while (pa_stream_peek(mStream, &data, &size) == 0 && size > 0) {
        const auto* samples = static_cast<const int16_t*>(data);
        if (samples)
            mRecording.samples.insert(
                mRecording.samples.end(), samples, samples + size / sizeof *samples);
        else // a hole
            mRecording.samples.resize(mRecording.samples.size() + size / sizeof *samples);
        pa_stream_drop(mStream);
        mProblem.clear();
    }
}
