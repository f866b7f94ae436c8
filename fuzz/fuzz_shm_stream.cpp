// A stream whose files somebody alters while its writer and a reader are at work. The input is a
// list of 10-byte records: two bytes that choose a 64-bit word of the media's front part or of the
// pins, and its new value..

#include "shm_layout.h"
#include "shmexercise.h"
#include "shmhandles.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/** A directory of this process alone. */
std::string const& place()
{
    static std::string const path = [] {
        char name[] = "/dev/shm/qvorlin-fuzz-XXXXXX";
        if (!mkdtemp(name))
            std::abort();
        setenv("QVORLIN_SHM_DIR", name, 1);
        static std::string const made = name;
        std::atexit([] { rmdir(made.c_str()); });
        return made;
    }();
    return path;
}

int openFileEndingIn(std::string const& ending)
{
    std::unique_ptr<DIR, int (*)(DIR*)> const directory(opendir(place().c_str()), closedir);
    while (dirent const* entry = directory ? readdir(directory.get()) : nullptr) {
        std::string const name = entry->d_name;
        if (name.size() > ending.size() &&
            name.compare(name.size() - ending.size(), ending.size(), ending) == 0)
            return open((place() + '/' + name).c_str(), O_RDWR | O_CLOEXEC);
    }
    std::abort();
}

/** Video and audio, the audio in more pieces than one. */
shmtest::Writer openSmallWriter()
{
    shm_writer_config_t config;
    shm_writer_config_init(&config);
    config.name = "fuzz";
    config.video_width = 16;
    config.video_height = 16;
    config.video_frame_count = 3;
    config.video_spare_count = 2;
    config.audio_sample_rate = 1000;
    config.audio_channels = 1;
    return shmtest::openWriter(config);
}

void publish(shm_writer_t* writer, int64_t number)
{
    int16_t const samples[400] = {};
    shm_writer_frame_t frame;
    if (shm_writer_acquire_frame(writer, &frame) == 0) {
        std::memset(frame.plane[0], 1, size_t(frame.stride[0]) * size_t(frame.lines[0]));
        if (shm_writer_commit_frame(writer, &frame, number * 400000) != 0)
            std::abort();
    }
    shm_writer_append_audio(writer, samples, 400, number * 400000 + number % 3 * 500);
    shm_writer_statistics_t statistics;
    shm_writer_get_statistics(writer, &statistics);
}

void use(shm_reader_t* reader)
{
    if (!shmexercise::use(reader))
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    constexpr size_t recordSize = sizeof(uint16_t) + sizeof(uint64_t);
    place();
    shmtest::Writer const writer = openSmallWriter();
    if (!writer)
        std::abort();
    for (int64_t number = 1; number <= 8; ++number)
        publish(writer.get(), number);
    shmtest::Reader const early(shm_reader_open("fuzz"));
    if (!early)
        std::abort();
    use(early.get());

    // Header, index, generations and the first anchors; then the pins.
    constexpr size_t mediaWords = (4096 + 256 * 32 + 128 * 8 + 32 * 32) / 8;
    size_t const pinWords = shm::pinsFileSize(5) / 8;
    int const media = openFileEndingIn(".media");
    int const pins = openFileEndingIn(".pins");
    for (; size >= recordSize; data += recordSize, size -= recordSize) {
        uint16_t index = 0;
        std::memcpy(&index, data, sizeof index);
        size_t const word = index % (mediaWords + pinWords);
        bool const isMedia = word < mediaWords;
        off_t const offset = off_t(8 * (isMedia ? word : word - mediaWords));
        if (pwrite(isMedia ? media : pins, data + sizeof index, 8, offset) != 8)
            std::abort();
    }
    close(media);
    close(pins);

    use(early.get());
    if (shmtest::Reader const late{shm_reader_open("fuzz")})
        use(late.get());
    for (int64_t number = 9; number <= 12; ++number)
        publish(writer.get(), number);
    use(early.get());
    return 0;
}
