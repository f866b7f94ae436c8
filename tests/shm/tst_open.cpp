#include "messagecheck.h"
#include "shmpicture.h"
#include "shmtest.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QTest>

using namespace shmtest;

class OpenTest : public QObject
{
    Q_OBJECT

private slots:
    void missingStream_isNotFound();
    void nullReader_isHarmless();
    void format_isAsConfigured();
    void format_ofAudioAndVideo();
    void format_isGoneWithTheWriter();
    void secondWriter_isRefusedByName();
    void secondWriterInAnotherProcess_isRefused();
    void closedWriter_leavesNoFile();
    void closedWriter_endsTheStreamAtOnce();
    void reopenedStream_isANewOne();
    void moreReadersThanRows_areRefused();
    void otherUser_needsReadAccess_data();
    void otherUser_needsReadAccess();
    void fullPlace_refusesTheWriterCleanly();
    void openFiles_areNotInherited();
    void strangeFilesUnderTheName_readAsAbsent();
};

void OpenTest::missingStream_isNotFound()
{
    Place place;
    errno = 0;
    QVERIFY(!shm_reader_open("cam1"));
    QCOMPARE(errno, ENOENT);
    QCOMPARE(place.files(), QStringList());
}

void OpenTest::nullReader_isHarmless()
{
    shm_reader_close(nullptr);
    QCOMPARE(shm_reader_is_ready(nullptr), 0);
    shm_reader_format_t format;
    std::memset(&format, 0x55, sizeof format);
    QCOMPARE(shm_reader_get_format(nullptr, &format), -1);
    QCOMPARE(format.valid, 0u);
    shm_video_status_t status;
    QCOMPARE(shm_reader_get_video_status(nullptr, &status), -1);
    QVERIFY(!shm_reader_open(nullptr));
    QCOMPARE(errno, EINVAL);
}

void OpenTest::format_isAsConfigured()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    Reader const reader(shm_reader_open("cam1"));
    shm_reader_format_t format;
    std::memset(&format, 0x55, sizeof format);
    QCOMPARE(shm_reader_get_format(reader.get(), &format), 0);
    QCOMPARE(format.valid, 1u);
    QCOMPARE(format.has_video, 1u);
    QCOMPARE(format.video_width, 66);
    QCOMPARE(format.video_height, 34);
    QCOMPARE(format.video_frame_count, 4);
    QCOMPARE(format.has_audio, 0u);
    QCOMPARE(format.audio_sample_rate, 0);
    QCOMPARE(format.audio_channels, 0);
    QCOMPARE(shm_reader_get_format(reader.get(), nullptr), -1);
    QCOMPARE(shm_reader_get_video_status(reader.get(), nullptr), -1);
}

void OpenTest::format_ofAudioAndVideo()
{
    Place place;
    shm_writer_config_t config = videoConfig("cam1");
    config.audio_sample_rate = 44100;
    config.audio_channels = 6;
    Writer const writer = openWriter(config);
    Reader const reader(shm_reader_open("cam1"));
    shm_reader_format_t format;
    QCOMPARE(shm_reader_get_format(reader.get(), &format), 0);
    QVERIFY(format.has_video && format.has_audio);
    QCOMPARE(format.audio_sample_rate, 44100);
    QCOMPARE(format.audio_channels, 6);

    // The two don't get in each other's way.
    std::vector<int16_t> const samples(6 * 44100 * 5, 0x1234);
    QVERIFY(shmpicture::publish(writer.get(), 1, 1));
    QCOMPARE(shm_writer_append_audio(writer.get(), samples.data(), 44100 * 5, 1), 0);
    for (int64_t i = 2; i < 10; ++i)
        QVERIFY(shmpicture::publish(writer.get(), i, uint64_t(i)));
    shm_video_frame_t frame = request(0);
    QCOMPARE(shm_reader_lock_video(reader.get(), &frame, SHM_VIDEO_LOOKUP_LATEST), 0);
    QVERIFY(shmpicture::isIntact(frame));
    shm_reader_unlock_video(reader.get(), &frame);
    std::vector<int16_t> read(6 * 88200);
    shm_audio_status_t const status = audioStatus(reader.get());
    QCOMPARE(shm_reader_query_audio(
                 reader.get(), SHM_AUDIO_STRICT, read.data(), 1, 88200, status.first_timestamp),
        1);
    QCOMPARE(std::count(read.begin(), read.end(), 0x1234), long(read.size()));
}

void OpenTest::format_isGoneWithTheWriter()
{
    Place place;
    Writer writer = openWriter(videoConfig("cam1"));
    Reader const reader(shm_reader_open("cam1"));
    writer.reset();
    shm_reader_format_t format;
    std::memset(&format, 0x55, sizeof format);
    QCOMPARE(shm_reader_get_format(reader.get(), &format), -1);
    shm_reader_format_t const zero = {};
    QCOMPARE(std::memcmp(&format, &zero, sizeof format), 0);
}

void OpenTest::secondWriter_isRefusedByName()
{
    Place place;
    Writer const writer = openWriter(videoConfig("k\xc3\xa4se"));
    Reader const reader(shm_reader_open("k\xc3\xa4se"));
    errno = 0;
    QCOMPARE(refusal(videoConfig("k\xc3\xa4se")),
        QByteArray("stream \"k\xc3\xa4se\": already published by a live writer"));
    shm_writer_config_t const config = audioConfig("k\xc3\xa4se");
    QVERIFY(!shm_writer_open(&config, nullptr, 0));
    QCOMPARE(errno, EBUSY);
    // The first one doesn't notice.
    QVERIFY(shmpicture::publish(writer.get(), 1, 1));
    QCOMPARE(shm_reader_is_ready(reader.get()), 1);
    QCOMPARE(videoStatus(reader.get()).frame_count, 1u);
    QCOMPARE(place.files().size(), 3);
}

void OpenTest::secondWriterInAnotherProcess_isRefused()
{
    Place place;
    Peer peer({QStringLiteral("write"), QStringLiteral("cam1")});
    QCOMPARE(peer.readLine(), QByteArray("writing"));
    QCOMPARE(refusal(videoConfig("cam1")),
        QByteArray("stream \"cam1\": already published by a live writer"));
    QVERIFY(Reader(shm_reader_open("cam1")));
}

void OpenTest::closedWriter_leavesNoFile()
{
    Place place;
    Writer writer = openWriter(videoConfig("cam1"));
    Reader const reader(shm_reader_open("cam1"));
    QCOMPARE(place.files().size(), 3);
    writer.reset();
    QCOMPARE(place.files(), QStringList());
}

void OpenTest::closedWriter_endsTheStreamAtOnce()
{
    Place place;
    Writer writer = openWriter(videoConfig("cam1"));
    Reader const reader(shm_reader_open("cam1"));
    QCOMPARE(shm_reader_is_ready(reader.get()), 1);
    writer.reset();
    QCOMPARE(shm_reader_is_ready(reader.get()), 0);
    QVERIFY(!shm_reader_open("cam1"));
    QCOMPARE(errno, ENOENT);
}

void OpenTest::reopenedStream_isANewOne()
{
    Place place;
    Writer writer = openWriter(videoConfig("cam1"));
    Reader const old(shm_reader_open("cam1"));
    writer.reset();
    shm_writer_config_t config = videoConfig("cam1");
    config.video_width = 320;
    writer = openWriter(config);
    QVERIFY(writer);
    QCOMPARE(shm_reader_is_ready(old.get()), 0);
    QCOMPARE(place.files().size(), 3);
    Reader const reader(shm_reader_open("cam1"));
    shm_reader_format_t format;
    QCOMPARE(shm_reader_get_format(reader.get(), &format), 0);
    QCOMPARE(format.video_width, 320);
}

void OpenTest::moreReadersThanRows_areRefused()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    std::vector<Reader> readers;
    for (int i = 0; i < 128; ++i) {
        readers.emplace_back(shm_reader_open("cam1"));
        QVERIFY(readers.back());
    }
    errno = 0;
    QVERIFY(!shm_reader_open("cam1"));
    QCOMPARE(errno, EUSERS);
    QCOMPARE(statistics(writer.get()).readers, 128u);
    readers.pop_back();
    QVERIFY(Reader(shm_reader_open("cam1")));
}

void OpenTest::otherUser_needsReadAccess_data()
{
    QTest::addColumn<uint>("mode");
    QTest::addColumn<int>("group");
    QTest::addColumn<QByteArray>("outcome");
    QTest::newRow("owner only") << 0600u << 65534 << QByteArray("EACCES");
    QTest::newRow("group, stranger") << 0660u << 65534 << QByteArray("EACCES");
    QTest::newRow("group, member") << 0660u << 1 << QByteArray("opened");
    QTest::newRow("everybody") << 0664u << 65534 << QByteArray("opened");
}

void OpenTest::otherUser_needsReadAccess()
{
    if (::geteuid() != 0)
        QSKIP("needs root to become another user");
    QFETCH(uint, mode);
    QFETCH(int, group);
    QFETCH(QByteArray, outcome);
    Place place;
    QCOMPARE(::chmod(QFile::encodeName(place.path()).constData(), 01777), 0);
    shm_writer_config_t config = videoConfig("cam1");
    config.mode = mode_t(mode);
    config.group = "1";
    Writer const writer = openWriter(config);
    QVERIFY(writer);
    Peer peer({QStringLiteral("open-as"), QStringLiteral("cam1"), QStringLiteral("65534"),
        QString::number(group)});
    QCOMPARE(peer.readLine(), outcome);
    QCOMPARE(peer.waitForEnd(), 0);
}

void OpenTest::fullPlace_refusesTheWriterCleanly()
{
    Place place;
    QString const path = place.path() + QStringLiteral("/small");
    QVERIFY(QDir().mkdir(path));
    QByteArray const mountPoint = QFile::encodeName(path);
    if (::mount("tmpfs", mountPoint.constData(), "tmpfs", 0, "size=1m") != 0)
        QSKIP("may not mount a small file system here");
    auto const unmount = qScopeGuard([&] { ::umount2(mountPoint.constData(), MNT_DETACH); });
    qputenv("QVORLIN_SHM_DIR", mountPoint);

    shm_writer_config_t config = videoConfig("cam1");
    config.video_width = 1920;
    config.video_height = 1080;
    QCOMPARE(
        refusal(config), QByteArray("stream \"cam1\": can't reserve 24880 KiB of shared memory: "
                                    "No space left on device"));
    QVERIFY(!shm_writer_open(&config, nullptr, 0));
    QCOMPARE(errno, ENOSPC);
    QCOMPARE(QDir(path).entryList(QDir::Files), QStringList());
    QVERIFY(openWriter(videoConfig("cam1")));
}

void OpenTest::openFiles_areNotInherited()
{
    Place place;
    Writer const writer = openWriter(videoConfig("cam1"));
    Reader const reader(shm_reader_open("cam1"));
    int found = 0;
    QDir const descriptors(QStringLiteral("/proc/self/fd"));
    for (QString const& number : descriptors.entryList(QDir::NoDotAndDotDot | QDir::AllEntries)) {
        int const fd = number.toInt();
        char target[PATH_MAX] = "";
        if (::readlink(QFile::encodeName(descriptors.filePath(number)), target, sizeof target - 1) >
                0 &&
            QFile::decodeName(target).startsWith(place.path())) {
            ++found;
            QVERIFY(::fcntl(fd, F_GETFD) & FD_CLOEXEC);
        }
    }
    // Place, lock, media and pins of the writer; media and pins of the reader.
    QCOMPARE(found, 6);
}

void OpenTest::strangeFilesUnderTheName_readAsAbsent()
{
    Place place;
    QByteArray const media = QFile::encodeName(place.path() + QStringLiteral("/cam1.media"));
    QCOMPARE(::mkfifo(media.constData(), 0600), 0);
    QVERIFY(!shm_reader_open("cam1"));
    QCOMPARE(::unlink(media.constData()), 0);

    QCOMPARE(::symlink("/etc/passwd", media.constData()), 0);
    QVERIFY(!shm_reader_open("cam1"));
    // A writer puts its own file there and doesn't write through the link.
    struct stat before = {};
    struct stat after = {};
    QCOMPARE(::stat("/etc/passwd", &before), 0);
    QVERIFY(openWriter(videoConfig("cam1")));
    QCOMPARE(::stat("/etc/passwd", &after), 0);
    QCOMPARE(after.st_size, before.st_size);
    QCOMPARE(after.st_mtim.tv_sec, before.st_mtim.tv_sec);

    QCOMPARE(::mkdir(media.constData(), 0700), 0);
    QVERIFY(!shm_reader_open("cam1"));
    QVERIFY(refusal(videoConfig("cam1")).startsWith("stream \"cam1\": can't publish it: "));
    QCOMPARE(::rmdir(media.constData()), 0);
}

QVORLIN_TEST_MAIN(QCoreApplication, OpenTest)

#include "tst_open.moc"
