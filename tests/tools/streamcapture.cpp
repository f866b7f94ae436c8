#include "streamcapture.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <QElapsedTimer>
#include <QThread>

namespace {

constexpr int PollMilliseconds = 2;

qint64 sampleTime(qint64 index, int rate)
{
    return qRound64(double(index) * 1e6 / rate);
}

} // namespace

StreamCapture::StreamCapture(QString const& name)
{
    QElapsedTimer timer;
    timer.start();
    do {
        mReader.reset(shm_reader_open(name.toUtf8().constData()));
        if (!mReader)
            QThread::msleep(PollMilliseconds);
    } while (!mReader && timer.elapsed() < 10000);
    mFormat = format();
}

shm_reader_format_t StreamCapture::format() const
{
    shm_reader_format_t format = {};
    if (mReader)
        shm_reader_get_format(mReader.get(), &format);
    return format;
}

void StreamCapture::poll()
{
    if (mFormat.has_video)
        pollVideo();
    if (mFormat.has_audio)
        pollAudio();
}

void StreamCapture::pollVideo()
{
    std::array<int64_t, 64> times = {};
    int const count =
        shm_reader_get_video_timestamps(mReader.get(), times.data(), int(times.size()));
    qint64 const last = frames.empty() ? INT64_MIN : frames.back().timestamp;
    if (!frames.empty() && count > 0 && times[0] > last)
        ++missedFrames; // at least one, as the last one should still have been there
    for (int i = 0; i < count; ++i) {
        if (times[size_t(i)] <= last)
            continue;
        shm_video_frame_t frame = {};
        frame.timestamp = times[size_t(i)];
        if (shm_reader_lock_video(mReader.get(), &frame, SHM_VIDEO_LOOKUP_BY_TIMESTAMP) != 0)
            continue;
        if (frame.timestamp == times[size_t(i)]) {
            uint8_t const* const planes[] = {frame.plane0, frame.plane1, frame.plane2};
            int const strides[] = {frame.stride0, frame.stride1, frame.stride2};
            frames.push_back({frame.timestamp, frame.plane0[frame.width / 2],
                hashPicture(planes, strides, frame.width, frame.height)});
        } else {
            ++missedFrames;
        }
        shm_reader_unlock_video(mReader.get(), &frame);
    }
}

void StreamCapture::pollAudio()
{
    shm_audio_status_t status = {};
    if (shm_reader_get_audio_status(mReader.get(), SHM_AUDIO_STRICT, &status) != 0)
        return;
    int const rate = mFormat.audio_sample_rate;
    if (samples.empty())
        audioStart = status.first_timestamp;
    qint64 start = audioStart + sampleTime(qint64(samples.size()), rate);
    constexpr qint64 Tolerance = 1000;
    if (status.first_timestamp > start + Tolerance || status.last_timestamp < start - Tolerance) {
        ++audioBreaks;
        samples.clear();
        start = audioStart = status.first_timestamp;
    }
    qint64 const count = (status.last_timestamp - start) * rate / 1000000 - 1;
    if (count <= 0)
        return;
    std::vector<qint16> block(size_t(count) * size_t(mFormat.audio_channels));
    if (shm_reader_query_audio(mReader.get(), SHM_AUDIO_STRICT, block.data(), 1,
            static_cast<unsigned long>(count), start) != 1)
        return;
    for (size_t i = 0; i < block.size(); i += size_t(mFormat.audio_channels))
        samples.push_back(block[i]);
}

bool StreamCapture::pollUntil(std::function<bool()> const& done, int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (isReady() && timer.elapsed() < milliseconds) {
        poll();
        if (done())
            return true;
        QThread::msleep(PollMilliseconds);
    }
    return false;
}

bool StreamCapture::pollToEnd(int milliseconds)
{
    pollUntil([] { return false; }, milliseconds);
    return !isReady();
}

size_t hashPicture(uint8_t const* const planes[3], int const strides[3], int width, int height)
{
    size_t hash = 0;
    for (int plane = 0; plane < 3; ++plane) {
        size_t const lineLength = size_t(plane ? (width + 1) / 2 : width);
        int const lines = plane ? (height + 1) / 2 : height;
        for (int y = 0; y < lines; ++y) {
            auto const* const line =
                reinterpret_cast<char const*>(planes[plane] + qptrdiff(y) * strides[plane]);
            hash = hash * 31 + std::hash<std::string_view>()({line, lineLength});
        }
    }
    return hash;
}
