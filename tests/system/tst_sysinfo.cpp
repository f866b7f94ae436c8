// The store in one process.

#include <climits>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <thread>
#include <vector>

#include <fcntl.h>

#include <QDir>
#include <QFile>

#include "messagecheck.h"
#include "storefromc.h"
#include "system/sysinfo.h"
#include "teststore.h"

using teststore::content;
using teststore::put;

namespace {

using CString = std::unique_ptr<char, decltype(&std::free)>;

CString read(char const* key, char const* defaultValue = nullptr)
{
    return CString(sysinfo_get_string(key, defaultValue), &std::free);
}

QString at(QByteArray const& key)
{
    return QStringLiteral("store/") + QString::fromLatin1(key);
}

} // namespace

class SysInfoTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void firstUseFromSeveralThreads_findsOneRoot();
    void setString_makesGroupAndHoldsTheBytesAlone();
    void setString_shorterOverLonger_leavesOnlyShorter();
    void setString_emptyValue_isStored();
    void setString_nullValue_changesNothing();
    void nullOrEmptyKey_fails();
    void keyBelowAValue_fails();
    void keyInDeepGroups_isStored();
    void keyWithTrailingSlash_makesGroupAndFails();
    void keyWithSuperfluousSlashes_isTheSameKey();
    void longPath_isCutTo254Characters();
    void openWrite_emptiesAndLocksUntilClosed();
    void openRead_missingKey_fails();
    void openRead_locksOutReaders();
    void streams_areNotInherited();
    void close_null_isAnError();
    void getString_missingKey_returnsNewCopyOfDefault();
    void getString_groupInPlaceOfValue_returnsDefault();
    void getString_keepsWhitespaceAndNewline();
    void getString_largeValue_isWhole();
    void getString_valueWithNul_isReadToItsEnd();
    void stdGetString_keepsNulBytes();
    void stdGetString_missingKey_returnsDefault();
    void stdGetString_groupInPlaceOfValue_throwsNothing();
    void setInteger_storesDecimalText_data();
    void setInteger_storesDecimalText();
    void getFormat_returnsWhatScanfDoes();
    void setFormat_storesFormattedText();
    void setFormat_unprintableText_fails();
    void everyFunction_worksFromC();

private:
    TestStore mStore;
};

void SysInfoTest::initTestCase()
{
    QVERIFY(mStore.isValid());
}

void SysInfoTest::cleanup()
{
    QDir(QStringLiteral("store")).removeRecursively();
}

void SysInfoTest::firstUseFromSeveralThreads_findsOneRoot()
{
    std::vector<std::thread> threads;
    std::vector<int> results(8);
    for (size_t i = 0; i < results.size(); ++i) {
        threads.emplace_back([i, &results] {
            results[i] = sysinfo_set_integer(("thread/" + std::to_string(i)).c_str(), long(i));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(results, std::vector<int>(8, 1));
    QCOMPARE(QDir(at("thread")).entryList(QDir::Files).size(), 8);
}

void SysInfoTest::setString_makesGroupAndHoldsTheBytesAlone()
{
    QCOMPARE(sysinfo_set_string("net/ip", "10.0.0.2"), 1);
    QCOMPARE(content(at("net/ip")), QByteArray("10.0.0.2"));
    QCOMPARE(QByteArray(read("net/ip").get()), QByteArray("10.0.0.2"));
}

void SysInfoTest::setString_shorterOverLonger_leavesOnlyShorter()
{
    QCOMPARE(sysinfo_set_string("host", "a rather long name"), 1);
    QCOMPARE(sysinfo_set_string("host", "short"), 1);
    QCOMPARE(content(at("host")), QByteArray("short"));
}

void SysInfoTest::setString_emptyValue_isStored()
{
    QCOMPARE(sysinfo_set_string("host", "name"), 1);
    QCOMPARE(sysinfo_set_string("host", ""), 1);
    QCOMPARE(content(at("host")), QByteArray(""));
    QCOMPARE(QByteArray(read("host", "default").get()), QByteArray(""));
}

void SysInfoTest::setString_nullValue_changesNothing()
{
    QCOMPARE(sysinfo_set_string("host", "name"), 1);
    QCOMPARE(sysinfo_set_string("host", nullptr), 0);
    QCOMPARE(content(at("host")), QByteArray("name"));
}

void SysInfoTest::nullOrEmptyKey_fails()
{
    for (char const* key : {static_cast<char const*>(nullptr), ""}) {
        QVERIFY(!sysinfo_open_write(key));
        QVERIFY(!sysinfo_open_read(key));
        QCOMPARE(QByteArray(read(key, "default").get()), QByteArray("default"));
        int number = 7;
        QCOMPARE(sysinfo_get_format(key, "%d", &number), 0);
        QCOMPARE(number, 7);
        QCOMPARE(sysinfo_set_string(key, "value"), 0);
        QCOMPARE(sysinfo_set_integer(key, 1), 0);
        QCOMPARE(sysinfo_set_format(key, "%d", 1), 0);
        QVERIFY(!QFile::exists(QStringLiteral("store")));
    }
    QCOMPARE(sysinfo::get_string("", "default"), std::string("default"));
}

void SysInfoTest::keyBelowAValue_fails()
{
    QCOMPARE(sysinfo_set_string("net", "value"), 1);
    QCOMPARE(sysinfo_set_string("net/ip", "10.0.0.2"), 0);
    QCOMPARE(sysinfo_set_string("net/lan/ip", "10.0.0.2"), 0);
    QCOMPARE(content(at("net")), QByteArray("value"));
}

void SysInfoTest::keyInDeepGroups_isStored()
{
    QCOMPARE(sysinfo_set_string("a/b/c/d", "value"), 1);
    QCOMPARE(content(at("a/b/c/d")), QByteArray("value"));
    for (char const* group : {"", "a", "a/b", "a/b/c"})
        QCOMPARE(teststore::mode(at(group)), 0777);
}

void SysInfoTest::keyWithTrailingSlash_makesGroupAndFails()
{
    QCOMPARE(sysinfo_set_string("net/lan/", "value"), 0);
    QVERIFY(QDir(at("net/lan")).exists());
    QVERIFY(QDir(at("net/lan")).isEmpty());
    QCOMPARE(QByteArray(read("net/lan/", "default").get()), QByteArray("default"));
    QVERIFY(!sysinfo_open_read("nothing/"));
}

void SysInfoTest::keyWithSuperfluousSlashes_isTheSameKey()
{
    QCOMPARE(sysinfo_set_string("/net//ip", "10.0.0.2"), 1);
    QCOMPARE(QByteArray(read("net/ip").get()), QByteArray("10.0.0.2"));
}

void SysInfoTest::longPath_isCutTo254Characters()
{
    // "store/" is part of the path.
    QByteArray const group(200, 'g');
    QByteArray const kept = group + '/' + QByteArray(254 - 6 - 201, 'k');
    QCOMPARE(sysinfo_set_string(kept, "all of it"), 1);
    QCOMPARE(content(at(kept)), QByteArray("all of it"));

    QCOMPARE(sysinfo_set_string(kept + "x", "cut by one"), 1);
    QCOMPARE(content(at(kept)), QByteArray("cut by one"));
    QCOMPARE(sysinfo_set_string(kept + "/below/it", "cut by more"), 1);
    QCOMPARE(content(at(kept)), QByteArray("cut by more"));
    QCOMPARE(QByteArray(read(kept + QByteArray(4000, 'y')).get()), QByteArray("cut by more"));
    QCOMPARE(sysinfo::get_string((kept + "z").toStdString(), ""), std::string("cut by more"));
    QCOMPARE(QDir(at(group)).entryList(QDir::Files).size(), 1);

    QCOMPARE(sysinfo_remove(kept + "z"), 1);
    QVERIFY(!QFile::exists(at(kept)));
}

void SysInfoTest::openWrite_emptiesAndLocksUntilClosed()
{
    QCOMPARE(sysinfo_set_string("host", "old"), 1);
    FILE* stream = sysinfo_open_write("host");
    QVERIFY(stream);
    QCOMPARE(content(at("host")), QByteArray(""));
    CString seen(nullptr, &std::free);
    std::thread reader([&seen] { seen = read("host"); });
    QVERIFY(std::fputs("one ", stream) >= 0);
    std::fflush(stream);
    QTest::qWait(20);
    QVERIFY(std::fputs("two", stream) >= 0);
    QCOMPARE(sysinfo_close(stream), 0);
    reader.join();
    QCOMPARE(QByteArray(seen.get()), QByteArray("one two"));
}

void SysInfoTest::openRead_missingKey_fails()
{
    QVERIFY(!sysinfo_open_read("nothing"));
    QVERIFY(!QFile::exists(QStringLiteral("store")));
}

void SysInfoTest::openRead_locksOutReaders()
{
    QCOMPARE(sysinfo_set_string("host", "name"), 1);
    FILE* first = sysinfo_open_read("host");
    QVERIFY(first);
    std::atomic<bool> secondRead{false};
    std::thread reader([&secondRead] {
        const CString value = read("host");
        secondRead = true;
    });
    QTest::qWait(50);
    const bool waited = !secondRead;
    char text[8] = "";
    QVERIFY(std::fgets(text, sizeof text, first));
    QCOMPARE(sysinfo_close(first), 0);
    reader.join();
    QVERIFY(waited);
    QCOMPARE(QByteArray(text), QByteArray("name"));
}

void SysInfoTest::streams_areNotInherited()
{
    FILE* stream = sysinfo_open_write("host");
    QVERIFY(stream);
    QVERIFY(fcntl(fileno(stream), F_GETFD) & FD_CLOEXEC);
    QCOMPARE(sysinfo_close(stream), 0);
    stream = sysinfo_open_read("host");
    QVERIFY(stream);
    QVERIFY(fcntl(fileno(stream), F_GETFD) & FD_CLOEXEC);
    QCOMPARE(sysinfo_close(stream), 0);
}

void SysInfoTest::close_null_isAnError()
{
    QCOMPARE(sysinfo_close(nullptr), EOF);
}

void SysInfoTest::getString_missingKey_returnsNewCopyOfDefault()
{
    char const* const defaultValue = "default";
    const CString value = read("nothing", defaultValue);
    QVERIFY(value.get() != defaultValue);
    QCOMPARE(QByteArray(value.get()), QByteArray(defaultValue));
    QVERIFY(!read("nothing", nullptr));
}

void SysInfoTest::getString_groupInPlaceOfValue_returnsDefault()
{
    QCOMPARE(sysinfo_set_string("net/ip", "10.0.0.2"), 1);
    QCOMPARE(QByteArray(read("net", "default").get()), QByteArray("default"));
    QVERIFY(!read("net"));
    int number = 7;
    QVERIFY(sysinfo_get_format("net", "%d", &number) <= 0);
    QCOMPARE(sysinfo_set_string("net", "value"), 0);
    QCOMPARE(content(at("net/ip")), QByteArray("10.0.0.2"));
}

void SysInfoTest::getString_keepsWhitespaceAndNewline()
{
    QCOMPARE(sysinfo_set_string("text", " \t padded \r\n\n"), 1);
    QCOMPARE(QByteArray(read("text").get()), QByteArray(" \t padded \r\n\n"));
    QCOMPARE(sysinfo::get_string("text", ""), std::string(" \t padded \r\n\n"));
}

void SysInfoTest::getString_largeValue_isWhole()
{
    for (int size : {4095, 4096, 4097, 1 << 20}) {
        QByteArray value(size, 'a');
        for (int i = 0; i < size; ++i)
            value[i] = char('!' + i % 89);
        QCOMPARE(sysinfo_set_string("text", value), 1);
        QCOMPARE(content(at("text")), value);
        QCOMPARE(QByteArray(read("text").get()), value);
        QCOMPARE(sysinfo::get_string("text", ""), value.toStdString());
    }
}

void SysInfoTest::getString_valueWithNul_isReadToItsEnd()
{
    QVERIFY(QDir().mkdir(QStringLiteral("store")));
    QVERIFY(put(at("binary"), QByteArray("ab\0cd", 5)));
    const CString value = read("binary");
    QCOMPARE(QByteArray(value.get(), 6), QByteArray("ab\0cd\0", 6));
}

void SysInfoTest::stdGetString_keepsNulBytes()
{
    QVERIFY(QDir().mkdir(QStringLiteral("store")));
    QVERIFY(put(at("binary"), QByteArray("ab\0cd\0", 6)));
    QCOMPARE(sysinfo::get_string("binary", "default"), std::string("ab\0cd\0", 6));
}

void SysInfoTest::stdGetString_missingKey_returnsDefault()
{
    QCOMPARE(sysinfo::get_string("nothing", "default"), std::string("default"));
    QCOMPARE(sysinfo::get_string("nothing", std::string("a\0b", 3)), std::string("a\0b", 3));
}

void SysInfoTest::stdGetString_groupInPlaceOfValue_throwsNothing()
{
    QCOMPARE(sysinfo_set_string("net/ip", "10.0.0.2"), 1);
    // The size of a directory is the file system's affair: nothing of it is ever readable.
    const std::string value = sysinfo::get_string("net", "default");
    QVERIFY(value == "default" || value == std::string(value.size(), '\0'));
}

void SysInfoTest::setInteger_storesDecimalText_data()
{
    QTest::addColumn<qlonglong>("number");
    QTest::newRow("zero") << 0ll;
    QTest::newRow("negative") << -5ll;
    QTest::newRow("greatest") << qlonglong(LONG_MAX);
    QTest::newRow("least") << qlonglong(LONG_MIN);
}

void SysInfoTest::setInteger_storesDecimalText()
{
    QFETCH(qlonglong, number);
    QCOMPARE(sysinfo_set_integer("number", long(number)), 1);
    QCOMPARE(content(at("number")), QByteArray::number(number));
    long back = 1;
    QCOMPARE(sysinfo_get_format("number", "%ld", &back), 1);
    QCOMPARE(qlonglong(back), number);
}

void SysInfoTest::getFormat_returnsWhatScanfDoes()
{
    int width = 0;
    int height = 0;
    QCOMPARE(sysinfo_set_integer("number", -5), 1);
    QCOMPARE(sysinfo_get_format("number", "%d", &width), 1);
    QCOMPARE(width, -5);
    QCOMPARE(sysinfo_set_string("mode", "1920x1080p"), 1);
    QCOMPARE(sysinfo_get_format("mode", "%dx%d", &width, &height), 2);
    QCOMPARE(width, 1920);
    QCOMPARE(height, 1080);
    QCOMPARE(sysinfo_get_format("mode", "%di%d", &width, &height), 1);
    QCOMPARE(sysinfo_set_string("mode", "auto"), 1);
    QCOMPARE(sysinfo_get_format("mode", "%d", &width), 0);
    QCOMPARE(sysinfo_set_string("mode", ""), 1);
    QCOMPARE(sysinfo_get_format("mode", "%d", &width), EOF);
    QCOMPARE(sysinfo_get_format("nothing", "%d", &width), 0);
    QCOMPARE(width, 1920);
}

void SysInfoTest::setFormat_storesFormattedText()
{
    QCOMPARE(sysinfo_set_format("mode", "%dx%d%c", 1920, 1080, 'p'), 1);
    QCOMPARE(content(at("mode")), QByteArray("1920x1080p"));
    QCOMPARE(sysinfo_set_format("mode", "%s", ""), 1);
    QCOMPARE(content(at("mode")), QByteArray(""));
    QCOMPARE(sysinfo_set_format("mode", "%*d", 1 << 20, 7), 1);
    QCOMPARE(content(at("mode")), QByteArray((1 << 20) - 1, ' ') + '7');
}

void SysInfoTest::setFormat_unprintableText_fails()
{
    // Half of a surrogate pair is no character in any locale.
    const wchar_t text[] = {wchar_t(0xd800), 0};
    QCOMPARE(sysinfo_set_format("text", "%ls", text), 0);
    QCOMPARE(sysinfo_set_string("text", "the lock is free"), 1);
}

void SysInfoTest::everyFunction_worksFromC()
{
    QCOMPARE(QByteArray(storeFromC()), QByteArray("all of it works"));
}

QVORLIN_TEST_MAIN(QCoreApplication, SysInfoTest)

#include "tst_sysinfo.moc"
