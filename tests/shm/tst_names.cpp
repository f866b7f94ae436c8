#include "messagecheck.h"
#include "shmtest.h"

#include <cerrno>
#include <vector>

#include <sys/stat.h>

#include <QCoreApplication>
#include <QDir>
#include <QTest>

using namespace shmtest;

class NamesTest : public QObject
{
    Q_OBJECT

private slots:
    void goodName_givesWorkingStreamInsideThePlace_data();
    void goodName_givesWorkingStreamInsideThePlace();
    void differentNames_giveDifferentStreams();
    void badName_isRefusedByBothSides_data();
    void badName_isRefusedByBothSides();
    void missingPlace_isMadeForAllUsers();
    void refusal_namesTheStreamOnOneLine();
    void linkInPlaceOfThePlace_isNotFollowed();
};

void NamesTest::goodName_givesWorkingStreamInsideThePlace_data()
{
    QTest::addColumn<QByteArray>("name");

    QTest::newRow("plain") << QByteArray("cam1");
    QTest::newRow("parent folder") << QByteArray("../x");
    QTest::newRow("parent folder alone") << QByteArray("..");
    QTest::newRow("absolute path") << QByteArray("/etc/passwd");
    QTest::newRow("slash") << QByteArray("a/b");
    QTest::newRow("dot") << QByteArray("a.b");
    QTest::newRow("looks like a file of ours") << QByteArray("cam1.lock");
    QTest::newRow("umlaut") << QByteArray("k\xc3\xa4se");
    QTest::newRow("four bytes") << QByteArray("\xf0\x9f\x8e\xa5");
    QTest::newRow("percent") << QByteArray("100%41");
    QTest::newRow("space and newline") << QByteArray("a b\n");
    QTest::newRow("300 bytes") << QByteArray(300, 'n');
    QTest::newRow("300 escaped bytes") << QByteArray(300, '.');
    QTest::newRow("longest") << QByteArray(1023, 'n');
}

void NamesTest::goodName_givesWorkingStreamInsideThePlace()
{
    QFETCH(QByteArray, name);
    Place place;
    QDir const outside(QStringLiteral("/dev/shm"));
    QStringList const before = outside.entryList(QDir::AllEntries | QDir::Hidden);

    Writer writer = openWriter(videoConfig(name.constData()));
    QVERIFY(writer);
    Reader const reader(shm_reader_open(name.constData()));
    QVERIFY(reader);
    QCOMPARE(shm_reader_is_ready(reader.get()), 1);
    QCOMPARE(place.files().size(), 3);
    QCOMPARE(outside.entryList(QDir::AllEntries | QDir::Hidden), before);

    writer.reset();
    QCOMPARE(place.files(), QStringList());
}

void NamesTest::differentNames_giveDifferentStreams()
{
    Place place;
    // Pairs that a careless encoding or cutting takes for the same.
    QByteArray const longName(400, 'n');
    QList<QByteArray> const names{"a/b", "a%2Fb", "a_b", "A", "a", "a.b", longName + "1",
        longName + "2", QByteArray(300, '/'), QByteArray(301, '/')};
    std::vector<Writer> writers;
    int width = 16;
    for (QByteArray const& name : names) {
        shm_writer_config_t config = videoConfig(name.constData());
        config.video_width = width++;
        writers.push_back(openWriter(config));
        QVERIFY(writers.back());
    }
    width = 16;
    for (QByteArray const& name : names) {
        Reader const reader(shm_reader_open(name.constData()));
        QVERIFY(reader);
        shm_reader_format_t format;
        QCOMPARE(shm_reader_get_format(reader.get(), &format), 0);
        QCOMPARE(format.video_width, width++);
    }
}

void NamesTest::badName_isRefusedByBothSides_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("error");

    QTest::newRow("empty") << QByteArray("") << EINVAL;
    QTest::newRow("1024 bytes") << QByteArray(1024, 'n') << ENAMETOOLONG;
    QTest::newRow("lone continuation byte") << QByteArray("a\x80") << EILSEQ;
    QTest::newRow("cut sequence") << QByteArray("a\xc3") << EILSEQ;
    QTest::newRow("overlong slash") << QByteArray("\xc0\xaf") << EILSEQ;
    QTest::newRow("overlong in three bytes") << QByteArray("\xe0\x80\xaf") << EILSEQ;
    QTest::newRow("surrogate") << QByteArray("\xed\xa0\x80") << EILSEQ;
    QTest::newRow("beyond Unicode") << QByteArray("\xf4\x90\x80\x80") << EILSEQ;
    QTest::newRow("Latin-1") << QByteArray("k\xe4se") << EILSEQ;
}

void NamesTest::badName_isRefusedByBothSides()
{
    QFETCH(QByteArray, name);
    QFETCH(int, error);
    Place place;

    shm_writer_config_t const config = videoConfig(name.constData());
    errno = 0;
    QVERIFY(!shm_writer_open(&config, nullptr, 0));
    QCOMPARE(errno, error);
    errno = 0;
    QVERIFY(!shm_reader_open(name.constData()));
    QCOMPARE(errno, error);
    QCOMPARE(place.files(), QStringList());
}

void NamesTest::missingPlace_isMadeForAllUsers()
{
    Place place;
    QString const path = place.path() + QStringLiteral("/made");
    qputenv("QVORLIN_SHM_DIR", QFile::encodeName(path));
    QVERIFY(!shm_reader_open("cam1"));
    QCOMPARE(errno, ENOENT);
    QVERIFY(!QFileInfo::exists(path));

    Writer const writer = openWriter(videoConfig("cam1"));
    QVERIFY(writer);
    struct stat info = {};
    QCOMPARE(::stat(QFile::encodeName(path).constData(), &info), 0);
    QCOMPARE(uint(info.st_mode & 07777), 01777u);
}

void NamesTest::refusal_namesTheStreamOnOneLine()
{
    Place place;
    shm_writer_config_t config = videoConfig("two\nlines");
    config.video_frame_count = 1;
    QCOMPARE(refusal(config),
        QByteArray("stream \"two\\x0Alines\": video frame count 1 is not between 2 and 64"));
}

void NamesTest::linkInPlaceOfThePlace_isNotFollowed()
{
    Place place;
    QString const real = place.path() + QStringLiteral("/real");
    QString const link = place.path() + QStringLiteral("/link");
    QVERIFY(QDir().mkdir(real));
    QVERIFY(QFile::link(real, link));
    qputenv("QVORLIN_SHM_DIR", QFile::encodeName(link));
    QVERIFY(!openWriter(videoConfig("cam1")));
    QVERIFY(!shm_reader_open("cam1"));
    QCOMPARE(QDir(real).entryList(QDir::Files), QStringList());
}

QVORLIN_TEST_MAIN(QCoreApplication, NamesTest)

#include "tst_names.moc"
