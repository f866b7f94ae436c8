#include "shm_writer_config.h"

#include "shm_open_error.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <grp.h>
#include <sys/random.h>

namespace shm {

namespace {

void checkRange(char const* what, int64_t value, int64_t min, int64_t max)
{
    if (value < min || value > max) {
        refuse(EINVAL, std::string(what) + " " + std::to_string(value) + " is not between " +
                           std::to_string(min) + " and " + std::to_string(max));
    }
}

uint64_t newInstance()
{
    uint64_t instance = 0;
    if (::getrandom(&instance, sizeof instance, 0) != ssize_t(sizeof instance))
        refuseCall(errno, "can't get a random number");
    return instance;
}

void fillVideo(MediaConfig& media, shm_writer_config_t const& config)
{
    checkRange("video width", config.video_width, 1, maximumVideoSide);
    checkRange("video height", config.video_height, 1, maximumVideoSide);
    checkRange("video frame count", config.video_frame_count, 2, maximumFrameCount);
    checkRange("video spare count", config.video_spare_count, 1, maximumSpareCount);
    if (config.frame_rate_num != 0 && config.frame_rate_den == 0)
        refuse(EINVAL, "frame rate has the denominator 0");
    media.video_width = uint32_t(config.video_width);
    media.video_height = uint32_t(config.video_height);
    media.frame_count = uint32_t(config.video_frame_count);
    media.slot_count = uint32_t(config.video_frame_count + config.video_spare_count);
    media.rate_num = config.frame_rate_num;
    media.rate_den = config.frame_rate_num == 0 ? 0 : config.frame_rate_den;
}

void fillAudio(MediaConfig& media, shm_writer_config_t const& config)
{
    checkRange("audio sample rate", config.audio_sample_rate, 1, maximumAudioRate);
    checkRange("audio channel count", config.audio_channels, 1, maximumAudioChannels);
    checkRange("audio duration", config.audio_duration_ms, minimumAudioMilliseconds,
        maximumAudioMilliseconds);
    media.audio_rate = uint32_t(config.audio_sample_rate);
    media.audio_channels = uint32_t(config.audio_channels);
    media.audio_readable = uint64_t(media.audio_rate) * config.audio_duration_ms / 1000;
}

gid_t toGroup(char const* name)
{
    std::vector<char> buffer(1024);
    group entry = {};
    group* found = nullptr;
    while (::getgrnam_r(name, &entry, buffer.data(), buffer.size(), &found) == ERANGE)
        buffer.resize(2 * buffer.size());
    if (found)
        return found->gr_gid;
    char* end = nullptr;
    errno = 0;
    unsigned long const number = std::strtoul(name, &end, 10);
    // -1 would mean to chown() that the group stays as it is.
    if (*name < '0' || *name > '9' || *end || errno != 0 || number >= gid_t(-1))
        refuse(EINVAL, "there is no group \"" + printableName(name) + '"');
    return gid_t(number);
}

} // namespace

MediaConfig toMediaConfig(shm_writer_config_t const& config)
{
    MediaConfig media = {};
    if (int const error = checkName(config.name))
        refuse(error, "not a name for a stream");
    if (config.video_width != 0 && config.video_height != 0)
        fillVideo(media, config);
    if (config.audio_sample_rate != 0 && config.audio_channels != 0)
        fillAudio(media, config);
    media.instance = newInstance();
    media.name_length = uint32_t(std::strlen(config.name));
    std::memcpy(media.name, config.name, media.name_length);
    if (!deriveLayout(media))
        refuse(EINVAL, "neither video nor audio");
    return media;
}

Access toAccess(shm_writer_config_t const& config)
{
    Access access;
    access.mode = config.mode;
    if (config.group)
        access.group = toGroup(config.group);
    return access;
}

} // namespace shm
