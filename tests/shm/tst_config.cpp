#include "messagecheck.h"
#include "shmtest.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QTest>

Q_DECLARE_METATYPE(shm_writer_config_t)

using namespace shmtest;

class ConfigTest : public QObject
{
    Q_OBJECT

private slots:
    void configInit_setsDefaults();
    void badConfig_isRefusedWithItsReason_data();
    void badConfig_isRefusedWithItsReason();
    void openWithoutConfig_isRefused();
    void refusal_fitsItsBuffer();
    void zeroPart_meansNoVideoOrNoAudio();
    void files_haveAskedAccess_data();
    void files_haveAskedAccess();
    void group_byNumberAndName();
};

void ConfigTest::configInit_setsDefaults()
{
    shm_writer_config_t config;
    std::memset(&config, 0x55, sizeof config);
    shm_writer_config_init(&config);
    QVERIFY(!config.name);
    QCOMPARE(config.video_width, 0);
    QCOMPARE(config.video_height, 0);
    QCOMPARE(config.video_frame_count, 8);
    QCOMPARE(config.video_spare_count, 8);
    QCOMPARE(config.frame_rate_num, 0u);
    QCOMPARE(config.frame_rate_den, 0u);
    QCOMPARE(config.audio_sample_rate, 0);
    QCOMPARE(config.audio_channels, 0);
    QCOMPARE(config.audio_duration_ms, 2000u);
    QCOMPARE(uint(config.mode), 0660u);
    QVERIFY(!config.group);
    shm_writer_config_init(nullptr);
}

void ConfigTest::badConfig_isRefusedWithItsReason_data()
{
    QTest::addColumn<shm_writer_config_t>("config");
    QTest::addColumn<QByteArray>("reason");

    auto const row = [](char const* tag, void (*change)(shm_writer_config_t&), char const* reason) {
        shm_writer_config_t config = videoConfig("cam1");
        config.audio_sample_rate = 48000;
        config.audio_channels = 2;
        change(config);
        QTest::newRow(tag) << config << QByteArray(reason);
    };
    using Config = shm_writer_config_t;
    row(
        "nothing", [](Config& c) { c.video_width = c.audio_channels = 0; },
        "neither video nor audio");
    row(
        "width", [](Config& c) { c.video_width = 16385; },
        "video width 16385 is not between 1 and 16384");
    row(
        "negative width", [](Config& c) { c.video_width = -2; },
        "video width -2 is not between 1 and 16384");
    row(
        "height", [](Config& c) { c.video_height = INT32_MAX; },
        "video height 2147483647 is not between 1 and 16384");
    row(
        "few frames", [](Config& c) { c.video_frame_count = 1; },
        "video frame count 1 is not between 2 and 64");
    row(
        "many frames", [](Config& c) { c.video_frame_count = 65; },
        "video frame count 65 is not between 2 and 64");
    row(
        "no spare", [](Config& c) { c.video_spare_count = 0; },
        "video spare count 0 is not between 1 and 64");
    row(
        "much spare", [](Config& c) { c.video_spare_count = 65; },
        "video spare count 65 is not between 1 and 64");
    row(
        "rate", [](Config& c) { c.frame_rate_den = 0; }, "frame rate has the denominator 0");
    row(
        "sample rate", [](Config& c) { c.audio_sample_rate = 384001; },
        "audio sample rate 384001 is not between 1 and 384000");
    row(
        "channels", [](Config& c) { c.audio_channels = 65; },
        "audio channel count 65 is not between 1 and 64");
    row(
        "short audio", [](Config& c) { c.audio_duration_ms = 1999; },
        "audio duration 1999 is not between 2000 and 60000");
    row(
        "long audio", [](Config& c) { c.audio_duration_ms = 60001; },
        "audio duration 60001 is not between 2000 and 60000");
    row(
        "group", [](Config& c) { c.group = "no-such-group"; },
        "there is no group \"no-such-group\"");
    row(
        "group number", [](Config& c) { c.group = "4294967295"; },
        "there is no group \"4294967295\"");
    row(
        "empty group", [](Config& c) { c.group = ""; }, "there is no group \"\"");
}

void ConfigTest::badConfig_isRefusedWithItsReason()
{
    QFETCH(shm_writer_config_t, config);
    QFETCH(QByteArray, reason);
    Place place;
    errno = 0;
    QCOMPARE(refusal(config), QByteArray("stream \"cam1\": " + reason));
    QCOMPARE(place.files(), QStringList());
    QVERIFY(!shm_writer_open(&config, nullptr, 0));
    QCOMPARE(errno, EINVAL);
}

void ConfigTest::openWithoutConfig_isRefused()
{
    char error[64] = "";
    QVERIFY(!shm_writer_open(nullptr, error, sizeof error));
    QCOMPARE(errno, EINVAL);
    QCOMPARE(QByteArray(error), QByteArray("stream \"\": no configuration"));

    Place place;
    QCOMPARE(refusal(videoConfig(nullptr)), QByteArray("stream \"\": not a name for a stream"));
}

void ConfigTest::refusal_fitsItsBuffer()
{
    char error[11];
    std::memset(error, 'x', sizeof error);
    shm_writer_config_t config = videoConfig("cam1");
    config.video_frame_count = 0;
    QVERIFY(!shm_writer_open(&config, error, 10));
    QCOMPARE(QByteArray(error), QByteArray("stream \"c"));
    QCOMPARE(error[10], 'x');
}

void ConfigTest::zeroPart_meansNoVideoOrNoAudio()
{
    Place place;
    shm_writer_config_t config = videoConfig("cam1");
    config.audio_sample_rate = 48000;
    Writer writer = openWriter(config);
    QVERIFY(writer);
    shm_reader_format_t format;
    Reader reader(shm_reader_open("cam1"));
    QCOMPARE(shm_reader_get_format(reader.get(), &format), 0);
    QVERIFY(format.valid && format.has_video && !format.has_audio);

    config = audioConfig("cam1");
    config.video_width = 64;
    writer.reset();
    writer = openWriter(config);
    reader.reset(shm_reader_open("cam1"));
    QCOMPARE(shm_reader_get_format(reader.get(), &format), 0);
    QVERIFY(format.valid && !format.has_video && format.has_audio);
    QCOMPARE(format.audio_sample_rate, 48000);
    QCOMPARE(format.audio_channels, 2);
    QCOMPARE(format.video_frame_count, 0);
}

void ConfigTest::files_haveAskedAccess_data()
{
    QTest::addColumn<uint>("mode");
    QTest::addColumn<uint>("media");
    QTest::addColumn<uint>("pins");

    QTest::newRow("owner") << 0600u << 0600u << 0600u;
    QTest::newRow("group") << 0660u << 0640u << 0660u;
    QTest::newRow("all") << 0644u << 0644u << 0666u;
    QTest::newRow("nothing asked") << 0u << 0600u << 0600u;
    QTest::newRow("odd bits") << 07777u << 0644u << 0666u;
}

void ConfigTest::files_haveAskedAccess()
{
    QFETCH(uint, mode);
    QFETCH(uint, media);
    QFETCH(uint, pins);
    Place place;
    shm_writer_config_t config = videoConfig("cam1");
    config.mode = mode_t(mode);
    Writer const writer = openWriter(config);
    struct stat info = {};
    QCOMPARE(::stat(place.fileEndingIn(QStringLiteral(".media")), &info), 0);
    QCOMPARE(uint(info.st_mode & 07777), media);
    QCOMPARE(::stat(place.fileEndingIn(QStringLiteral(".pins")), &info), 0);
    QCOMPARE(uint(info.st_mode & 07777), pins);
    QCOMPARE(::stat(place.fileEndingIn(QStringLiteral(".lock")), &info), 0);
    QCOMPARE(uint(info.st_mode & 07777), 0600u);
}

void ConfigTest::group_byNumberAndName()
{
    if (::geteuid() != 0)
        QSKIP("needs root to give a file to any group");
    Place place;
    shm_writer_config_t config = videoConfig("cam1");
    for (char const* group : {"daemon", "1"}) {
        config.group = group;
        Writer const writer = openWriter(config);
        QVERIFY(writer);
        for (auto const& ending : {QStringLiteral(".media"), QStringLiteral(".pins")}) {
            struct stat info = {};
            QCOMPARE(::stat(place.fileEndingIn(ending), &info), 0);
            QCOMPARE(uint(info.st_gid), 1u);
        }
    }
}

QVORLIN_TEST_MAIN(QCoreApplication, ConfigTest)

#include "tst_config.moc"
