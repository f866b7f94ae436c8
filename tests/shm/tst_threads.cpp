#include "messagecheck.h"
#include "shmpicture.h"
#include "shmtest.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

using namespace shmtest;

class ThreadsTest : public QObject
{
    Q_OBJECT

private slots:
    void frames_lockedHereAreUnlockedThere();
    void everyCall_fromManyThreadsOnOneHandle();
    void writerCalls_fromManyThreads();
    void oldestFrames_areNotOverwrittenUnderALock();
    void oldestAudio_isNotOverwrittenUnderTheCopy();
    void name_isNeverTakenTwiceNorLost();
};

void ThreadsTest::frames_lockedHereAreUnlockedThere()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    Reader const reader(shm_reader_open("cam1"));
    QVERIFY(shmpicture::publish(writer.get(), 1, 1));
    std::mutex mutex;
    std::vector<shm_video_frame_t> frames;
    std::atomic<int> faults{0};
    std::atomic<bool> done{false};

    std::thread unlocking([&] {
        for (bool last = false; !last;) {
            last = done;
            std::unique_lock<std::mutex> lock(mutex);
            std::vector<shm_video_frame_t> const taken = std::exchange(frames, {});
            lock.unlock();
            for (shm_video_frame_t frame : taken) {
                faults += !shmpicture::isIntact(frame);
                faults += shmpicture::seedOf(frame) != uint64_t(frame.timestamp);
                shm_reader_unlock_video(reader.get(), &frame);
            }
            std::this_thread::yield();
        }
    });
    std::thread locking([&] {
        while (!done) {
            shm_video_frame_t frame = request(0);
            if (shm_reader_lock_video(reader.get(), &frame, SHM_VIDEO_LOOKUP_LATEST) == 0) {
                std::lock_guard<std::mutex> const lock(mutex);
                frames.push_back(frame);
            }
            std::this_thread::yield();
        }
    });
    for (int64_t i = 2; i < 2000; ++i) {
        shmpicture::publish(writer.get(), i, uint64_t(i));
        std::this_thread::yield();
    }
    done = true;
    locking.join();
    unlocking.join();
    for (shm_video_frame_t& frame : frames)
        shm_reader_unlock_video(reader.get(), &frame);
    QCOMPARE(faults.load(), 0);
    QCOMPARE(statistics(writer.get()).pins, 0u);
}

void ThreadsTest::everyCall_fromManyThreadsOnOneHandle()
{
    Place place;
    shm_writer_config_t config = videoConfig("cam1");
    config.audio_sample_rate = 48000;
    config.audio_channels = 1;
    config.video_spare_count = 16;
    Writer const writer = openWriter(config);
    Reader const reader(shm_reader_open("cam1"));
    std::vector<int16_t> const block(480, 0x55);
    auto const append = [&](int64_t i) {
        shm_writer_append_audio(writer.get(), block.data(), 480, i * 10000);
    };
    for (int64_t i = 0; i < 10; ++i)
        append(i);
    std::atomic<bool> done{false};
    std::atomic<int> faults{0};
    auto const read = [&](int id) {
        std::vector<int16_t> samples(4800);
        int64_t timestamps[8];
        while (!done) {
            shm_audio_status_t const audio = audioStatus(reader.get());
            int const count = shm_reader_query_audio(reader.get(), SHM_AUDIO_CONTINUOUS,
                samples.data(), 480, 1, audio.last_timestamp - 20000);
            for (int i = 0; i < count; ++i)
                faults += samples[size_t(i)] != 0x55;
            shm_reader_set_fps(reader.get(), id % 2 ? 10 : 1, 1);
            shm_reader_get_video_timestamps(reader.get(), timestamps, 8);
            videoStatus(reader.get());
            faults += shm_reader_is_ready(reader.get()) != 1;
            shm_video_frame_t frame = request(audio.last_timestamp);
            if (shm_reader_lock_video(reader.get(), &frame, shm_video_lookup_mode_t(id)) == 0)
                faults += !shmpicture::isIntact(frame);
            shm_reader_unlock_video(reader.get(), &frame);
        }
    };
    std::vector<std::thread> threads;
    for (int id = 0; id < 4; ++id)
        threads.emplace_back(read, id);
    for (int64_t i = 10; i < 2000; ++i) {
        append(i);
        shmpicture::publish(writer.get(), i * 10000, uint64_t(i));
        std::this_thread::yield();
    }
    done = true;
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(faults.load(), 0);
    QCOMPARE(statistics(writer.get()).pins, 0u);
}

void ThreadsTest::writerCalls_fromManyThreads()
{
    Place place;
    shm_writer_config_t config = videoConfig("cam1");
    config.audio_sample_rate = 48000;
    config.audio_channels = 1;
    Writer const writer = openWriter(config);
    std::atomic<int64_t> timestamp{0};
    std::atomic<uint64_t> committed{0};
    std::vector<std::thread> threads;
    for (int id = 0; id < 4; ++id) {
        threads.emplace_back([&] {
            int16_t const samples[48] = {};
            for (int i = 0; i < 500; ++i) {
                shm_writer_frame_t frame;
                if (shm_writer_acquire_frame(writer.get(), &frame) != 0)
                    continue;
                shm_writer_hold_frame(writer.get(), &frame);
                shmpicture::fill(frame, 1);
                // Two threads may come in the wrong order: then one of them is refused.
                if (shm_writer_commit_frame(writer.get(), &frame, ++timestamp) == 0)
                    ++committed;
                else
                    shm_writer_release_frame(writer.get(), &frame);
                shm_writer_release_frame(writer.get(), &frame);
                shm_writer_append_audio(writer.get(), samples, 48, i * 1000);
                statistics(writer.get());
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    shm_writer_statistics_t const values = statistics(writer.get());
    QCOMPARE(values.video_frames_written, committed.load());
    QCOMPARE(values.audio_frames_written, uint64_t(4 * 500 * 48));
    // All eight slots are still there.
    shm_writer_frame_t frames[8];
    for (shm_writer_frame_t& frame : frames)
        QCOMPARE(shm_writer_acquire_frame(writer.get(), &frame), 0);
}

void ThreadsTest::oldestFrames_areNotOverwrittenUnderALock()
{
    // The fewest slots and the frame that goes next: a lock and a reuse meet as often as can be.
    Place place;
    shm_writer_config_t config = videoConfig("cam1");
    config.video_width = 16;
    config.video_height = 16;
    config.video_frame_count = 2;
    config.video_spare_count = 1;
    Writer const writer = openWriter(config);
    Reader const reader(shm_reader_open("cam1"));
    std::atomic<bool> done{false};
    std::atomic<int> faults{0};
    std::atomic<int> locks{0};
    std::thread locking([&] {
        while (!done) {
            shm_video_frame_t frame = request(INT64_MIN);
            if (shm_reader_lock_video(reader.get(), &frame, SHM_VIDEO_LOOKUP_AT_OR_AFTER) != 0)
                continue;
            for (int i = 0; i < 3; ++i) {
                faults += shmpicture::seedOf(frame) != uint64_t(frame.timestamp);
                faults += !shmpicture::isIntact(frame);
            }
            shm_reader_unlock_video(reader.get(), &frame);
            ++locks;
        }
    });
    int64_t published = 0;
    QElapsedTimer timer;
    for (timer.start(); timer.elapsed() < 1000;)
        published += shmpicture::publish(writer.get(), published + 1, uint64_t(published + 1));
    done = true;
    locking.join();
    QCOMPARE(faults.load(), 0);
    QVERIFY(locks > 100 && published > 100);
    qInfo("%d locks during %lld frames", locks.load(), static_cast<long long>(published));
}

void ThreadsTest::oldestAudio_isNotOverwrittenUnderTheCopy()
{
    Place place;
    shm_writer_config_t config = audioConfig("sound");
    config.audio_channels = 1;
    Writer const writer = openWriter(config);
    Reader const reader(shm_reader_open("sound"));
    // Each block goes on where the one before ended, and is written as fast as memory allows.
    constexpr uint32_t period = 30011;
    std::vector<int16_t> samples(4 * period);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = int16_t(i % period);
    uint64_t position = 0;
    auto const append = [&] {
        shm_writer_append_audio(writer.get(), samples.data(), uint32_t(samples.size()),
            int64_t(position * 1000000 / 48000));
        position += samples.size();
    };
    append();
    std::atomic<bool> done{false};
    std::atomic<int> faults{0};
    std::atomic<int> reads{0};
    std::thread reading([&] {
        std::vector<int16_t> read(96000);
        while (!done) {
            int const count = shm_reader_query_audio(
                reader.get(), SHM_AUDIO_CONTINUOUS, read.data(), read.size(), 1, 0);
            for (int i = 1; i < count; ++i)
                faults += read[size_t(i)] != (read[size_t(i - 1)] + 1) % int(period);
            reads += count > 0;
        }
    });
    QElapsedTimer timer;
    for (timer.start(); timer.elapsed() < (reads > 0 ? 1000 : 20000);)
        append();
    done = true;
    reading.join();
    QCOMPARE(faults.load(), 0);
    QVERIFY(reads > 0);
    qInfo("%d reads while %.0f s of audio were written", reads.load(), double(position) / 48000);
}

void ThreadsTest::name_isNeverTakenTwiceNorLost()
{
    Place place;
    QByteArray const lockFile = QFile::encodeName(place.path() + QStringLiteral("/cam1.lock"));
    std::atomic<int> live{0};
    std::atomic<int> opened{0};
    std::atomic<int> faults{0};
    std::atomic<bool> done{false};
    auto const repeat = [&](auto const& action) {
        return std::thread([&done, action] {
            while (!done) {
                action();
                std::this_thread::yield();
            }
        });
    };
    auto const write = [&] {
        shm_writer_config_t const config = videoConfig("cam1");
        Writer const writer(shm_writer_open(&config, nullptr, 0));
        if (!writer)
            return;
        ++opened;
        faults += ++live != 1;
        // Nobody has cleaned it away.
        faults += !shmpicture::publish(writer.get(), opened, 1);
        Reader const reader(shm_reader_open("cam1"));
        faults += timestampFound(reader.get(), 0, SHM_VIDEO_LOOKUP_LATEST) == -1;
        --live;
    };
    // Both clean up when they find no live stream.
    auto const read = [] {
        Reader(shm_reader_open("cam1"));
    };
    // What a writer leaves that is killed right after it made the lock file.
    auto const leave = [&] {
        int const fd = ::open(lockFile.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (fd >= 0)
            ::close(fd);
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.push_back(repeat(write));
    for (int i = 0; i < 2; ++i)
        threads.push_back(repeat(read));
    threads.push_back(repeat(leave));
    QTRY_VERIFY_WITH_TIMEOUT(opened > 1000, 20000);
    done = true;
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(faults.load(), 0);
    QVERIFY(!shm_reader_open("cam1"));
    QCOMPARE(place.files(), QStringList());
}

QVORLIN_TEST_MAIN(QCoreApplication, ThreadsTest)

#include "tst_threads.moc"
