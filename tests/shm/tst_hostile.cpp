#include "messagecheck.h"
#include "shm_layout.h"
#include "shmexercise.h"
#include "shmpicture.h"
#include "shmtest.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QTest>

using namespace shmtest;

namespace {

/** A live stream with video and audio, whose files can be altered behind the writer's back. */
class Victim
{
public:
    Victim()
    {
        shm_writer_config_t config = videoConfig("cam1");
        config.audio_sample_rate = 8000;
        config.audio_channels = 2;
        writer = openWriter(config);
        for (int64_t i = 0; i < 6; ++i)
            shmpicture::publish(writer.get(), 1000000 + i * 40000, 1);
        std::vector<int16_t> const samples(2 * 8000, 3);
        for (int64_t i = 0; i < 4; ++i) // The ring has wrapped, and there is more than one anchor.
            shm_writer_append_audio(writer.get(), samples.data(), 8000, 1000000 + i * 1000100);
        media = ::open(place.fileEndingIn(QStringLiteral(".media")), O_RDWR | O_CLOEXEC);
        pins = ::open(place.fileEndingIn(QStringLiteral(".pins")), O_RDWR | O_CLOEXEC);
        struct stat info = {};
        ::fstat(media, &info);
        size = info.st_size;
        ::pread(media, &config_, sizeof config_, 0);
    }
    ~Victim()
    {
        ::close(media);
        ::close(pins);
    }

    shm::MediaConfig const& config() const { return config_; }

    template<typename T>
    T get(off_t offset) const
    {
        T value = {};
        ::pread(media, &value, sizeof value, offset);
        return value;
    }
    template<typename T>
    void set(off_t offset, T value)
    {
        ::pwrite(media, &value, sizeof value, offset);
    }

    Place place;
    Writer writer;
    int media = -1;
    int pins = -1;
    off_t size = 0;

private:
    shm::MediaConfig config_ = {};
};

/** Opens the stream and uses it; whether that was possible. */
bool openAndUse()
{
    Reader const reader(shm_reader_open("cam1"));
    return reader && shmexercise::use(reader.get());
}

constexpr uint64_t extremes[] = {0, 1, 2, 3, 7, 63, 64, 127, 128, 255, 256, 1023, 1024, 4095, 65535,
    0x7fffffff, 0x80000000, 0xffffffff, 0x100000000, 0x7ffffffffffffff0, 0x7fffffffffffffff,
    0x8000000000000000, 0xfffffffffffffffe, 0xffffffffffffffff};

} // namespace

class HostileTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { mVictim = std::make_unique<Victim>(); }
    void cleanup() { mVictim.reset(); }

    void untouched_streamWorks();
    void everyBitOfTheConfiguration_flipped();
    void everyWordOfTheConfiguration_extreme();
    void derivedFields_allHaveOneRightValue();
    void truncatedMedia_readAsAbsent();
    void extendedMedia_readAsAbsent();
    void everyLiveNumber_extreme();
    void everyLiveNumber_scribbledOverWhileRead();
    void retiredSlots_haveNoGeneration();
    void entryOfAnotherFrame_isNotThere();
    void slotOutOfRange_isNotThere();
    void windowTooLarge_isNotThere();
    void audioSpanTooLarge_isNotThere();
    void truncatedPins_refuseTheReader();
    void truncatedPins_countAsHeldForTheWriter();
    void scribbledPins_dropFramesAtMost();
    void otherVersion_isRefused();

private:
    std::unique_ptr<Victim> mVictim;
};

void HostileTest::untouched_streamWorks()
{
    Reader const reader(shm_reader_open("cam1"));
    QVERIFY(reader);
    QCOMPARE(videoStatus(reader.get()).frame_count, 4u);
    QCOMPARE(audioStatus(reader.get()).sample_count, 16000u);
    QVERIFY(shmexercise::use(reader.get()));
}

void HostileTest::everyBitOfTheConfiguration_flipped()
{
    int opened = 0;
    for (size_t offset = 0; offset < sizeof(shm::MediaConfig); ++offset) {
        auto const original = mVictim->get<uint8_t>(off_t(offset));
        for (int bit = 0; bit < 8; ++bit) {
            mVictim->set(off_t(offset), uint8_t(original ^ (1 << bit)));
            opened += openAndUse();
        }
        mVictim->set(off_t(offset), original);
    }
    qInfo("%d of %zu alterations are streams in their own right", opened,
        8 * sizeof(shm::MediaConfig));
    // Among what a writer may choose, some other values fit the rest: a rate, a width of one less.
    QVERIFY(opened < 2 * 32 + 20);
    QVERIFY(openAndUse());
}

void HostileTest::everyWordOfTheConfiguration_extreme()
{
    for (off_t offset = 0; offset < off_t(offsetof(shm::MediaConfig, name)); offset += 4) {
        auto const original = mVictim->get<uint64_t>(offset);
        for (uint64_t value : extremes) {
            mVictim->set(offset, uint32_t(value));
            openAndUse();
            mVictim->set(offset, value);
            openAndUse();
            mVictim->set(offset, original);
        }
    }
    QVERIFY(openAndUse());
}

void HostileTest::derivedFields_allHaveOneRightValue()
{
    using shm::MediaConfig;
    std::pair<size_t, size_t> const fields[] = {
        {offsetof(MediaConfig, magic), 8},
        {offsetof(MediaConfig, version), 4},
        {offsetof(MediaConfig, header_size), 4},
        {offsetof(MediaConfig, file_size), 8},
        {offsetof(MediaConfig, slot_count), 4},
        {offsetof(MediaConfig, luma_stride), 4},
        {offsetof(MediaConfig, chroma_stride), 4},
        {offsetof(MediaConfig, luma_lines), 4},
        {offsetof(MediaConfig, chroma_lines), 4},
        {offsetof(MediaConfig, plane1_offset), 8},
        {offsetof(MediaConfig, plane2_offset), 8},
        {offsetof(MediaConfig, slot_size), 8},
        {offsetof(MediaConfig, slots_offset), 8},
        {offsetof(MediaConfig, generations_offset), 8},
        {offsetof(MediaConfig, index_offset), 8},
        {offsetof(MediaConfig, index_capacity), 4},
        {offsetof(MediaConfig, reserved0), 4},
        {offsetof(MediaConfig, audio_channels), 4},
        {offsetof(MediaConfig, audio_capacity), 8},
        {offsetof(MediaConfig, samples_offset), 8},
        {offsetof(MediaConfig, anchors_offset), 8},
        {offsetof(MediaConfig, anchor_capacity), 4},
    };
    for (auto const& [offset, width] : fields) {
        auto const original = mVictim->get<uint64_t>(off_t(offset));
        for (uint64_t bit = 0; bit < 8 * width; ++bit) {
            mVictim->set(off_t(offset), original ^ (uint64_t(1) << bit));
            errno = 0;
            QVERIFY2(!Reader(shm_reader_open("cam1")), qPrintable(QString::number(offset)));
            QCOMPARE(errno, EPROTO);
        }
        mVictim->set(off_t(offset), original);
    }
}

void HostileTest::truncatedMedia_readAsAbsent()
{
    std::vector<off_t> sizes{
        0, 1, 7, 8, 2047, 2048, 4095, 4096, 4097, mVictim->size - 4096, mVictim->size - 1};
    for (off_t size = 8192; size < mVictim->size; size += 8192)
        sizes.push_back(size);
    // From the largest down: what is cut off is gone.
    std::sort(sizes.rbegin(), sizes.rend());
    for (off_t size : sizes) {
        QCOMPARE(::ftruncate(mVictim->media, size), 0);
        errno = 0;
        QVERIFY(!Reader(shm_reader_open("cam1")));
        QCOMPARE(errno, EPROTO);
    }
}

void HostileTest::extendedMedia_readAsAbsent()
{
    QCOMPARE(::ftruncate(mVictim->media, mVictim->size + 1), 0);
    QVERIFY(!Reader(shm_reader_open("cam1")));
    QCOMPARE(errno, EPROTO);
}

void HostileTest::everyLiveNumber_extreme()
{
    Reader const early(shm_reader_open("cam1"));
    shm::MediaConfig const& config = mVictim->config();
    off_t const end = off_t(config.anchors_offset + 8 * sizeof(shm::AudioAnchor));
    for (off_t offset = sizeof(shm::MediaConfig); offset < end; offset += 8) {
        auto const original = mVictim->get<uint64_t>(offset);
        // Most of the space is unused entries: there a few values do.
        bool const isUsed = original != 0 || offset < off_t(sizeof(shm::MediaConfig) + 256);
        for (uint64_t value : extremes) {
            if (!isUsed && value > 2)
                break;
            mVictim->set(offset, value);
            QVERIFY(shmexercise::use(early.get()));
            if (isUsed)
                QVERIFY(openAndUse());
        }
        for (uint64_t step : {1, 2, 4, 8, 64}) {
            if (!isUsed)
                break;
            mVictim->set(offset, original + step);
            QVERIFY(shmexercise::use(early.get()));
            mVictim->set(offset, original - step);
            QVERIFY(shmexercise::use(early.get()));
        }
        mVictim->set(offset, original);
    }
    QCOMPARE(videoStatus(early.get()).frame_count, 4u);
    QCOMPARE(audioStatus(early.get()).sample_count, 16000u);
}

void HostileTest::everyLiveNumber_scribbledOverWhileRead()
{
    shm::MediaConfig const& config = mVictim->config();
    off_t const begin = sizeof(shm::MediaConfig);
    off_t const end = off_t(config.anchors_offset + 8 * sizeof(shm::AudioAnchor));
    std::vector<uint64_t> originals;
    for (off_t offset = begin; offset < end; offset += 8)
        originals.push_back(mVictim->get<uint64_t>(offset));
    std::atomic<bool> done{false};
    std::thread scribbling([&] {
        QRandomGenerator random(7);
        while (!done) {
            size_t const i = size_t(random.bounded(int(originals.size())));
            uint64_t const choices[] = {random.generate64(), originals[i], originals[i] + 1,
                originals[i] - 1, originals[(i + 4) % originals.size()],
                extremes[random.bounded(int(std::size(extremes)))]};
            mVictim->set(begin + off_t(8 * i), choices[random.bounded(int(std::size(choices)))]);
        }
    });
    auto const end_ = qScopeGuard([&] {
        done = true;
        scribbling.join();
    });
    Reader const early(shm_reader_open("cam1"));
    QElapsedTimer timer;
    timer.start();
    int rounds = 0;
    while (timer.elapsed() < 1500) {
        QVERIFY(shmexercise::use(early.get()));
        QVERIFY(openAndUse());
        ++rounds;
    }
    QVERIFY(rounds > 10);
}

void HostileTest::retiredSlots_haveNoGeneration()
{
    // Without this a late reader could pin a slot that is being written.
    std::vector<uint64_t> generations;
    for (uint32_t slot = 0; slot < mVictim->config().slot_count; ++slot) {
        auto const generation =
            mVictim->get<uint64_t>(off_t(mVictim->config().generations_offset + 8 * slot));
        if (generation != 0)
            generations.push_back(generation);
    }
    std::sort(generations.begin(), generations.end());
    QCOMPARE(generations, (std::vector<uint64_t>{3, 4, 5, 6}));
}

void HostileTest::entryOfAnotherFrame_isNotThere()
{
    Reader const reader(shm_reader_open("cam1"));
    // The newest frame is number 5; its generation says that its slot holds something else.
    off_t const entry = off_t(mVictim->config().index_offset + 5 * sizeof(shm::FrameEntry));
    auto const slot = mVictim->get<uint64_t>(entry + off_t(offsetof(shm::FrameEntry, slot)));
    off_t const generation = off_t(mVictim->config().generations_offset + 8 * slot);
    QCOMPARE(mVictim->get<uint64_t>(generation), uint64_t(6));
    mVictim->set(generation, uint64_t(2));
    QCOMPARE(timestampFound(reader.get(), 0, SHM_VIDEO_LOOKUP_LATEST), int64_t(-1));
    mVictim->set(generation, uint64_t(6));
    QCOMPARE(timestampFound(reader.get(), 0, SHM_VIDEO_LOOKUP_LATEST), int64_t(1200000));
    mVictim->set(entry, uint64_t(262));
    QCOMPARE(timestampFound(reader.get(), 0, SHM_VIDEO_LOOKUP_LATEST), int64_t(-1));
    QCOMPARE(statistics(mVictim->writer.get()).pins, 0u);
}

void HostileTest::slotOutOfRange_isNotThere()
{
    Reader const reader(shm_reader_open("cam1"));
    off_t const entry = off_t(mVictim->config().index_offset + 5 * sizeof(shm::FrameEntry));
    for (uint64_t slot : {uint64_t(8), uint64_t(1) << 32, UINT64_MAX}) {
        mVictim->set(entry + off_t(offsetof(shm::FrameEntry, slot)), slot);
        QCOMPARE(timestampFound(reader.get(), 0, SHM_VIDEO_LOOKUP_LATEST), int64_t(-1));
    }
}

void HostileTest::windowTooLarge_isNotThere()
{
    Reader const reader(shm_reader_open("cam1"));
    off_t const tail = offsetof(shm::MediaHeader, video) + offsetof(shm::VideoState, tail);
    mVictim->set(tail, uint64_t(0));
    QCOMPARE(videoStatus(reader.get()).frame_count, 0u);
    mVictim->set(tail, uint64_t(7));
    QCOMPARE(videoStatus(reader.get()).frame_count, 0u);
    mVictim->set(tail, uint64_t(2));
    QCOMPARE(videoStatus(reader.get()).frame_count, 4u);
}

void HostileTest::audioSpanTooLarge_isNotThere()
{
    Reader const reader(shm_reader_open("cam1"));
    off_t const audio = offsetof(shm::MediaHeader, audio);
    auto const sequence = mVictim->get<uint64_t>(audio);
    off_t const span = audio + off_t(offsetof(shm::AudioState, spans)) +
                       off_t(sequence % 2 * sizeof(shm::AudioSpan));
    auto const begin = mVictim->get<uint64_t>(span);
    QCOMPARE(audioStatus(reader.get()).sample_count, 16000u);
    mVictim->set(span, begin - 1);
    QCOMPARE(audioStatus(reader.get()).valid, 0u);
    mVictim->set(span, UINT64_MAX);
    QCOMPARE(audioStatus(reader.get()).valid, 0u);
}

void HostileTest::truncatedPins_refuseTheReader()
{
    QCOMPARE(::ftruncate(mVictim->pins, 100), 0);
    QVERIFY(!Reader(shm_reader_open("cam1")));
    QCOMPARE(errno, EPROTO);
}

void HostileTest::truncatedPins_countAsHeldForTheWriter()
{
    QCOMPARE(::ftruncate(mVictim->pins, 100), 0);
    // Slots that were never used are still free; of the used ones none can be known to be.
    int published = 0;
    for (int64_t i = 0; i < 20; ++i)
        published += shmpicture::publish(mVictim->writer.get(), 2000000 + i, 1);
    QVERIFY(published <= 4);
    QVERIFY(statistics(mVictim->writer.get()).video_frames_dropped >= 16);
}

void HostileTest::scribbledPins_dropFramesAtMost()
{
    Reader const reader(shm_reader_open("cam1"));
    shm_video_frame_t frame = request(0);
    QCOMPARE(shm_reader_lock_video(reader.get(), &frame, SHM_VIDEO_LOOKUP_LATEST), 0);
    std::vector<uint8_t> noise(shm::pinsFileSize(mVictim->config().slot_count));
    QRandomGenerator random(3);
    for (int round = 0; round < 20; ++round) {
        for (uint8_t& byte : noise)
            byte = uint8_t(random.generate());
        QCOMPARE(::pwrite(mVictim->pins, noise.data(), noise.size(), 0), ssize_t(noise.size()));
        for (int64_t i = 0; i < 20; ++i)
            shmpicture::publish(mVictim->writer.get(), 2000000 + 100 * round + i, 1);
        statistics(mVictim->writer.get());
        shm_video_frame_t other = request(0);
        shm_reader_lock_video(reader.get(), &other, SHM_VIDEO_LOOKUP_LATEST);
        shm_reader_unlock_video(reader.get(), &other);
    }
    std::fill(noise.begin(), noise.end(), uint8_t(0));
    QCOMPARE(::pwrite(mVictim->pins, noise.data(), noise.size(), 0), ssize_t(noise.size()));
    // A pin that others took away doesn't go below nothing.
    shm_reader_unlock_video(reader.get(), &frame);
    QCOMPARE(statistics(mVictim->writer.get()).pins, 0u);
    QVERIFY(shmpicture::publish(mVictim->writer.get(), 3000000, 1));
}

void HostileTest::otherVersion_isRefused()
{
    mVictim->set(offsetof(shm::MediaConfig, version), uint32_t(2));
    errno = 0;
    QVERIFY(!Reader(shm_reader_open("cam1")));
    QCOMPARE(errno, EPROTO);
}

QVORLIN_TEST_MAIN(QCoreApplication, HostileTest)

#include "tst_hostile.moc"
