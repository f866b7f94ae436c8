#include "messagecheck.h"
#include "shmpicture.h"
#include "shmtest.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QTest>
#include <QThread>

using namespace shmtest;

class DeathTest : public QObject
{
    Q_OBJECT

private slots:
    void killedReader_slotsAreFreeWithinASecond();
    void killedReader_isNoticedByTheStatistics();
    void killedReader_slotsAreFreeAtOnceWhenNeeded();
    void killedReader_rowIsGivenToAnother();
    void killedWriter_isNoticedAtOnce();
    void killedWriter_isNotMaskedByAReadersLock();
    void killedWriter_leavesNothingOnceAReaderLooks();
    void killedWriter_leavesNothingOnceAnyWriterOpens();
    void killedWriter_twoHundredTimes();
    void leftOvers_ofEveryStageAreRemoved();
    void liveStreams_areLeftAlone();
};

void DeathTest::killedReader_slotsAreFreeWithinASecond()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    int64_t timestamp = 0;
    for (; timestamp < 4; ++timestamp)
        QVERIFY(shmpicture::publish(writer.get(), timestamp, 1));
    Peer peer(
        {QStringLiteral("hold"), QStringLiteral("cam1"), QStringLiteral("4"), QStringLiteral("1")});
    QCOMPARE(peer.readLine(), QByteArray("holding"));
    QCOMPARE(statistics(writer.get()).pinned_slots, 4u);

    QFile pins(QFile::decodeName(place.fileEndingIn(QStringLiteral(".pins"))));
    QVERIFY(pins.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    auto const isAnyPinned = [&] {
        pins.seek(0);
        QByteArray const bytes = pins.readAll();
        return bytes.count('\0') != bytes.size();
    };
    QVERIFY(isAnyPinned());
    peer.kill();
    QElapsedTimer timer;
    timer.start();
    // Writing frames is all it takes.
    while (isAnyPinned() && timer.elapsed() < 5000) {
        shmpicture::publish(writer.get(), timestamp++, 1);
        QThread::msleep(10);
    }
    qInfo("slots free after %lld ms", timer.elapsed());
    QVERIFY(timer.elapsed() < 1000);
    QCOMPARE(statistics(writer.get()).pins, 0u);
    QCOMPARE(statistics(writer.get()).readers, 0u);
}

void DeathTest::killedReader_isNoticedByTheStatistics()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    QVERIFY(shmpicture::publish(writer.get(), 1, 1));
    Peer peer(
        {QStringLiteral("hold"), QStringLiteral("cam1"), QStringLiteral("1"), QStringLiteral("1")});
    QCOMPARE(peer.readLine(), QByteArray("holding"));
    QCOMPARE(statistics(writer.get()).pins, 1u);
    peer.kill();
    QCOMPARE(statistics(writer.get()).readers, 0u);
    QTRY_COMPARE_WITH_TIMEOUT(statistics(writer.get()).pins, 0u, 1000);
}

void DeathTest::killedReader_slotsAreFreeAtOnceWhenNeeded()
{
    Place place;
    shm_writer_config_t config = videoConfig("cam1");
    config.video_spare_count = 1;
    Writer const writer = openWriter(config);
    for (int64_t timestamp = 1; timestamp <= 4; ++timestamp)
        QVERIFY(shmpicture::publish(writer.get(), timestamp, 1));
    Peer peer(
        {QStringLiteral("hold"), QStringLiteral("cam1"), QStringLiteral("4"), QStringLiteral("1")});
    QCOMPARE(peer.readLine(), QByteArray("holding"));
    shm_writer_frame_t held;
    QCOMPARE(shm_writer_acquire_frame(writer.get(), &held), 0);
    QVERIFY(!shmpicture::publish(writer.get(), 5, 1));
    peer.kill();
    // The pause between two searches for dead readers when slots are short.
    QThread::msleep(25);
    QVERIFY(shmpicture::publish(writer.get(), 5, 1));
    QCOMPARE(statistics(writer.get()).video_frames_dropped, uint64_t(1));
}

void DeathTest::killedReader_rowIsGivenToAnother()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    QVERIFY(shmpicture::publish(writer.get(), 1, 1));
    for (int i = 0; i < 3; ++i) {
        Peer peer({QStringLiteral("hold"), QStringLiteral("cam1"), QStringLiteral("1"),
            QStringLiteral("1")});
        QCOMPARE(peer.readLine(), QByteArray("holding"));
    }
    // Nobody has cleared the rows yet: a new reader takes the first one and clears it.
    Reader const reader(shm_reader_open("cam1"));
    QVERIFY(reader);
    QCOMPARE(statistics(writer.get()).readers, 1u);
    QTRY_COMPARE(statistics(writer.get()).pins, 0u);
}

void DeathTest::killedWriter_isNoticedAtOnce()
{
    Place place;
    Peer peer({QStringLiteral("write"), QStringLiteral("cam1")});
    QCOMPARE(peer.readLine(), QByteArray("writing"));
    Reader const reader(shm_reader_open("cam1"));
    QVERIFY(reader);
    QCOMPARE(shm_reader_is_ready(reader.get()), 1);
    peer.kill();
    QCOMPARE(shm_reader_is_ready(reader.get()), 0);
    shm_reader_format_t format;
    QCOMPARE(shm_reader_get_format(reader.get(), &format), -1);
}

void DeathTest::killedWriter_isNotMaskedByAReadersLock()
{
    Place place;
    Peer peer({QStringLiteral("write"), QStringLiteral("cam1")});
    QCOMPARE(peer.readLine(), QByteArray("writing"));
    Reader const reader(shm_reader_open("cam1"));
    int const media = ::open(place.fileEndingIn(QStringLiteral(".media")), O_RDONLY | O_CLOEXEC);
    auto const closeMedia = qScopeGuard([&] { ::close(media); });
    peer.kill();
    // All that a reader may lock, and for good.
    struct flock lock = {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    QCOMPARE(::fcntl(media, F_OFD_SETLK, &lock), 0);
    QCOMPARE(shm_reader_is_ready(reader.get()), 0);
    QVERIFY(openWriter(videoConfig("cam1")));
}

void DeathTest::killedWriter_leavesNothingOnceAReaderLooks()
{
    Place place;
    {
        Peer peer({QStringLiteral("write"), QStringLiteral("cam1")});
        QCOMPARE(peer.readLine(), QByteArray("writing"));
    }
    QCOMPARE(place.files().size(), 3);
    QVERIFY(!shm_reader_open("cam1"));
    QCOMPARE(errno, ENOENT);
    QCOMPARE(place.files(), QStringList());

    Peer peer({QStringLiteral("write"), QStringLiteral("cam1")});
    QCOMPARE(peer.readLine(), QByteArray("writing"));
    Reader const reader(shm_reader_open("cam1"));
    peer.kill();
    QCOMPARE(shm_reader_is_ready(reader.get()), 0);
    QCOMPARE(place.files(), QStringList());
}

void DeathTest::killedWriter_leavesNothingOnceAnyWriterOpens()
{
    Place place;
    {
        Peer one({QStringLiteral("write"), QStringLiteral("cam1")});
        Peer two({QStringLiteral("write"), QStringLiteral("a/b")});
        QCOMPARE(one.readLine(), QByteArray("writing"));
        QCOMPARE(two.readLine(), QByteArray("writing"));
    }
    QCOMPARE(place.files().size(), 6);
    Writer const writer = openWriter(videoConfig("cam2"));
    QCOMPARE(place.files().size(), 3);
}

void DeathTest::killedWriter_twoHundredTimes()
{
    Place place;
    QRandomGenerator random(1);
    Reader reader;
    shm_video_frame_t held = {};
    uint64_t heldSeed = 0;
    int opened = 0;
    int kept = 0;
    QElapsedTimer timer;
    for (int i = 0; i < 200; ++i) {
        Peer peer({QStringLiteral("write"), QStringLiteral("cam1")});
        // Half of them are killed while they start, half while they write.
        if (i % 2)
            QCOMPARE(peer.readLine(), QByteArray("writing"));
        QThread::usleep(random.bounded(8000));
        Reader fresh(shm_reader_open("cam1"));
        shm_video_frame_t frame = request(0);
        if (fresh) {
            ++opened;
            shm_reader_lock_video(fresh.get(), &frame, SHM_VIDEO_LOOKUP_LATEST);
            shm_audio_status_t const status = audioStatus(fresh.get());
            int16_t samples[2 * 480];
            shm_reader_query_audio(
                fresh.get(), SHM_AUDIO_CONTINUOUS, samples, 480, 1, status.first_timestamp);
        }
        peer.kill();
        timer.start();
        if (fresh)
            QTRY_COMPARE_WITH_TIMEOUT(shm_reader_is_ready(fresh.get()), 0, 1000);
        // What the reader before this one held is still the same.
        if (held.plane0) {
            ++kept;
            QVERIFY(shmpicture::isIntact(held));
            QCOMPARE(shmpicture::seedOf(held), heldSeed);
        }
        shm_reader_unlock_video(reader.get(), &held);
        reader = std::move(fresh);
        held = frame;
        heldSeed = held.plane0 ? shmpicture::seedOf(held) : 0;

        Writer const next = openWriter(videoConfig("cam1"));
        QVERIFY(next);
        QVERIFY(shmpicture::publish(next.get(), 1, 1));
        Reader const nextReader(shm_reader_open("cam1"));
        QCOMPARE(timestampFound(nextReader.get(), 0, SHM_VIDEO_LOOKUP_LATEST), int64_t(1));
        QVERIFY(timer.elapsed() < 1000);
        QCOMPARE(place.files().size(), 3);
    }
    shm_reader_unlock_video(reader.get(), &held);
    QCOMPARE(place.files(), QStringList());
    qInfo("of 200 writers %d were read, %d frames were held over a writer's death", opened, kept);
    QVERIFY(opened >= 100 && kept >= 90);
}

void DeathTest::leftOvers_ofEveryStageAreRemoved()
{
    Place place;
    // What a writer leaves that is killed after each step of its opening.
    QStringList const steps{QStringLiteral("cam1.lock"),
        QStringLiteral("cam1.0000000000000001.pins"), QStringLiteral("cam1.0000000000000001.new"),
        QStringLiteral("cam1.media")};
    for (int count = 1; count <= steps.size(); ++count) {
        for (int i = 0; i < count; ++i) {
            QFile file(place.path() + QLatin1Char('/') + steps[i]);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(QByteArray(5000, 'x'));
        }
        QVERIFY(!shm_reader_open("cam1"));
        QCOMPARE(errno, ENOENT);
        QCOMPARE(place.files(), QStringList());
    }
    // Without its lock file it's found by the next writer of the name.
    QFile file(place.path() + QStringLiteral("/cam1.media"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    Writer const writer = openWriter(videoConfig("cam1"));
    QVERIFY(Reader(shm_reader_open("cam1")));
}

void DeathTest::liveStreams_areLeftAlone()
{
    Place place;
    Writer const one = openWriter(videoConfig("cam1"));
    Writer const two = openWriter(videoConfig("cam11"));
    QStringList const before = place.files();
    for (int i = 0; i < 3; ++i) {
        Writer const three = openWriter(videoConfig("cam"));
        QVERIFY(!shm_reader_open("cam111"));
    }
    QCOMPARE(place.files(), before);

    // A lock file that somebody removed by hand doesn't open the name to a second writer.
    QVERIFY(QFile::remove(place.path() + QStringLiteral("/cam1.lock")));
    QCOMPARE(refusal(videoConfig("cam1")),
        QByteArray("stream \"cam1\": already published by a live writer"));
    QVERIFY(Reader(shm_reader_open("cam1")));
}

QVORLIN_TEST_MAIN(QCoreApplication, DeathTest)

#include "tst_death.moc"
