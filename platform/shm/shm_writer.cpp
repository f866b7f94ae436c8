#include "shm_writer.h"

#include "shm_audio_writer.h"
#include "shm_open_error.h"
#include "shm_published_files.h"
#include "shm_video_writer.h"
#include "shm_writer_config.h"

#include <cerrno>
#include <cstdio>
#include <mutex>
#include <new>

struct shm_writer
{
    shm_writer(
        shm::StreamFiles const& names, shm::MediaConfig const& config_, shm::Access const& access)
        : config(config_)
        , files(names, config, access)
        , video(files.media(), config, files.takePins())
        , audio(files.media(), config)
    {
        files.publish();
    }

    bool hasVideo() const { return config.video_width != 0; }
    bool hasAudio() const { return config.audio_rate != 0; }

    shm::MediaConfig const config;
    shm::PublishedFiles files;
    std::mutex mutex; /**< guards what follows */
    shm::VideoWriter video;
    shm::AudioWriter audio;
};

namespace {

int result(int error)
{
    if (error == 0)
        return 0;
    errno = error;
    return -1;
}

void describe(char* error, size_t size, char const* name, std::string const& what)
{
    if (error && size > 0) {
        std::string const printable = shm::printableName(name ? name : "");
        std::snprintf(error, size, "stream \"%s\": %s", printable.c_str(), what.c_str());
    }
}

/** Calls @p operation of the stream's video under its mutex. */
template<typename Operation>
int callVideo(shm_writer* writer, Operation operation)
{
    if (!writer || !writer->hasVideo())
        return result(EINVAL);
    std::lock_guard<std::mutex> const guard(writer->mutex);
    return result(operation(writer->video));
}

} // namespace

void shm_writer_config_init(shm_writer_config_t* config)
{
    if (!config)
        return;
    *config = {};
    config->video_frame_count = 8;
    config->video_spare_count = 8;
    config->audio_duration_ms = 2000;
    config->mode = 0660;
}

shm_writer_t* shm_writer_open(const shm_writer_config_t* config, char* error, size_t error_size)
{
    char const* const name = config ? config->name : nullptr;
    int code = 0;
    try {
        if (!config)
            shm::refuse(EINVAL, "no configuration");
        shm::MediaConfig const media = shm::toMediaConfig(*config);
        return new shm_writer(shm::StreamFiles(name), media, shm::toAccess(*config));
    } catch (shm::OpenError const& failure) {
        code = failure.code();
        describe(error, error_size, name, failure.what());
    } catch (std::bad_alloc const&) {
        code = ENOMEM;
        describe(error, error_size, name, "out of memory");
    }
    errno = code;
    return nullptr;
}

void shm_writer_close(shm_writer_t* writer)
{
    delete writer;
}

int shm_writer_acquire_frame(shm_writer_t* writer, shm_writer_frame_t* frame)
{
    if (!frame)
        return result(EINVAL);
    *frame = {};
    return callVideo(writer, [&](shm::VideoWriter& video) { return video.acquire(*frame); });
}

int shm_writer_commit_frame(
    shm_writer_t* writer, const shm_writer_frame_t* frame, int64_t timestamp)
{
    if (!frame)
        return result(EINVAL);
    return callVideo(
        writer, [&](shm::VideoWriter& video) { return video.commit(*frame, timestamp); });
}

int shm_writer_hold_frame(shm_writer_t* writer, const shm_writer_frame_t* frame)
{
    if (!frame)
        return result(EINVAL);
    return callVideo(writer, [&](shm::VideoWriter& video) { return video.hold(*frame); });
}

int shm_writer_release_frame(shm_writer_t* writer, const shm_writer_frame_t* frame)
{
    if (!frame)
        return result(EINVAL);
    return callVideo(writer, [&](shm::VideoWriter& video) { return video.release(*frame); });
}

int shm_writer_append_audio(
    shm_writer_t* writer, const int16_t* samples, uint32_t count, int64_t timestamp)
{
    if (!writer || !writer->hasAudio() || (!samples && count > 0))
        return result(EINVAL);
    if (count == 0)
        return 0;
    std::lock_guard<std::mutex> const guard(writer->mutex);
    writer->audio.append(samples, count, timestamp);
    return 0;
}

int shm_writer_get_statistics(shm_writer_t* writer, shm_writer_statistics_t* statistics)
{
    if (!statistics)
        return result(EINVAL);
    *statistics = {};
    if (!writer)
        return result(EINVAL);
    std::lock_guard<std::mutex> const guard(writer->mutex);
    writer->video.getStatistics(*statistics);
    statistics->audio_frames_written = writer->audio.written();
    statistics->audio_breaks = writer->audio.breaks();
    return 0;
}
