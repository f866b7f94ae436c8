#include <cerrno>
#include <cstdarg>
#include <utility>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <QTest>

#include "extdisplay/stockplugin.h"

#include "messagecheck.h"

using extdisplay::adaptConfigForStockPlugin;

static constexpr char const* variable = "QT_QPA_EGLFS_KMS_CONFIG";
static bool memoryFileFails = false;
static bool sealsFail = false;
static bool writeFails = false;
static int memoryFile = -1;

// These take the place of libc's, to see the descriptor and to fail.
#define EXPORTED extern "C" __attribute__((visibility("default")))

template<typename Function>
static Function* next(char const* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

EXPORTED int memfd_create(char const* name, unsigned flags) noexcept
{
    errno = EMFILE;
    memoryFile =
        memoryFileFails ? -1 : next<int(char const*, unsigned)>("memfd_create")(name, flags);
    return memoryFile;
}

EXPORTED ssize_t write(int descriptor, void const* bytes, size_t size)
{
    static auto* const real = next<ssize_t(int, void const*, size_t)>("write");
    if (descriptor != memoryFile)
        return real(descriptor, bytes, size);
    static bool interrupted = false;
    interrupted = !interrupted;
    errno = writeFails ? ENOSPC : EINTR;
    if (writeFails || interrupted)
        return -1;
    // Little by little, as a file may be written.
    return real(descriptor, bytes, qMin(size, size_t(7)));
}

EXPORTED int fcntl(int descriptor, int command, ...)
{
    static auto* const real = next<int(int, int, ...)>("fcntl");
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (sealsFail && command == F_ADD_SEALS) {
        errno = EPERM;
        return -1;
    }
    return real(descriptor, command, argument);
}

EXPORTED int fcntl64(int descriptor, int command, ...) __attribute__((alias("fcntl")));

static QByteArray readWhatVariableNames()
{
    QFile file(QFile::decodeName(qgetenv(variable)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "can't be opened";
}

static QByteArray withOutputs(QByteArray const& outputs)
{
    return R"({"device":"/dev/dri/card0","hwcursor":false,"outputs":[)" + outputs +
           R"(],"pbuffers":false,"separateScreens":false})";
}

static QByteArray const oneLit = R"({"crtcmask":"-1","mode":"1920x1080","name":"HDMI1"})";

Q_DECLARE_METATYPE(bool*)

class StockPluginTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void document_isTranslated_data();
    void document_isTranslated();
    void modelines_areKept();
    void membersThatAreNotConcerned_areKept();
    void documentWithoutOutputs_isHandedOver();
    void file_isSealed();
    void file_isNotInherited();
    void file_isReadFromItsStartEachTime();
    void secondCall_changesNothing();
    void newDocument_getsAFileOfItsOwn();
    void unsetVariable_staysUnset();
    void otherText_staysAsItIs_data();
    void otherText_staysAsItIs();
    void documentThatLightsNothing_staysAsItIs_data();
    void documentThatLightsNothing_staysAsItIs();
    void failures_leaveNothingBehind_data();
    void failures_leaveNothingBehind();
};

void StockPluginTest::init()
{
    qunsetenv(variable);
    memoryFile = -1;
}

void StockPluginTest::cleanup()
{
    memoryFileFails = sealsFail = writeFails = false;
    if (memoryFile >= 0)
        close(memoryFile);
}

void StockPluginTest::document_isTranslated_data()
{
    QTest::addColumn<QByteArray>("outputs");
    QTest::addColumn<QByteArray>("adapted");

    QByteArray const lit = R"({"mode":"1920x1080","name":"HDMI1"})";
    QTest::newRow("one output") << oneLit << lit;
    QTest::newRow("others are skipped")
        << R"({"mode":"ignore","name":"DP1"},)" + oneLit + R"(,{"mode":"ignore","name":"VGA1"})"
        << R"({"mode":"skip","name":"DP1"},)" + lit + R"(,{"mode":"skip","name":"VGA1"})";
    QTest::newRow("two connectors of one name")
        << R"({"mode":"ignore","name":"HDMI1"},)" + oneLit + R"(,{"mode":"ignore","name":"HDMI1"})"
        << lit;
    QTest::newRow("connector of a type without a name")
        << oneLit + R"(,{"mode":"ignore","name":"UNKNOWN2"})"
        << lit + R"(,{"mode":"skip","name":"Virtual2"},{"mode":"skip","name":"DSI2"},)"
                 R"({"mode":"skip","name":"UNKNOWN2"})";
    QTest::newRow("such a connector is lit")
        << QByteArray(R"({"crtcmask":"1","mode":"preferred","name":"UNKNOWN1"})")
        << QByteArray(
               R"({"mode":"preferred","name":"Virtual1"},{"mode":"preferred","name":"DSI1"},)"
               R"({"mode":"preferred","name":"UNKNOWN1"})");
}

void StockPluginTest::document_isTranslated()
{
    QFETCH(QByteArray, outputs);
    QFETCH(QByteArray, adapted);
    qputenv(variable, withOutputs(outputs));
    QVERIFY(adaptConfigForStockPlugin());
    QCOMPARE(qgetenv(variable), "/proc/self/fd/" + QByteArray::number(memoryFile));
    QCOMPARE(readWhatVariableNames(), withOutputs(adapted));
}

void StockPluginTest::modelines_areKept()
{
    QByteArray const output =
        R"({"mode":"148.5 1920 2008 2052 2200 1080 1084 1089 1125 +hsync +vsync","name":"HDMI1"})";
    qputenv(variable, withOutputs(output));
    QVERIFY(adaptConfigForStockPlugin());
    QCOMPARE(readWhatVariableNames(), withOutputs(output));
}

void StockPluginTest::membersThatAreNotConcerned_areKept()
{
    QByteArray const document =
        R"({"outputs":[{"mode":"current","name":"DP1","physicalWidth":500},{"name":"DP2"}],)"
        R"("unheard of":[1]})";
    qputenv(variable, document);
    QVERIFY(adaptConfigForStockPlugin());
    QCOMPARE(readWhatVariableNames(), document);
}

void StockPluginTest::documentWithoutOutputs_isHandedOver()
{
    for (QByteArray const document : {R"({"hwcursor":false})", R"({"outputs":[]})"}) {
        qputenv(variable, document);
        QVERIFY(adaptConfigForStockPlugin());
        QCOMPARE(readWhatVariableNames(), document);
        close(std::exchange(memoryFile, -1));
    }
}

void StockPluginTest::file_isSealed()
{
    qputenv(variable, withOutputs(oneLit));
    QVERIFY(adaptConfigForStockPlugin());
    QCOMPARE(
        fcntl(memoryFile, F_GET_SEALS), F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE);
    QCOMPARE(pwrite(memoryFile, "x", 1, 0), ssize_t(-1));
    QCOMPARE(ftruncate(memoryFile, 0), -1);
}

void StockPluginTest::file_isNotInherited()
{
    qputenv(variable, withOutputs(oneLit));
    QVERIFY(adaptConfigForStockPlugin());
    QCOMPARE(fcntl(memoryFile, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

void StockPluginTest::file_isReadFromItsStartEachTime()
{
    qputenv(variable, withOutputs(oneLit));
    QVERIFY(adaptConfigForStockPlugin());
    QByteArray const first = readWhatVariableNames();
    QVERIFY(first.startsWith("{\"device\""));
    QCOMPARE(readWhatVariableNames(), first);
}

void StockPluginTest::secondCall_changesNothing()
{
    qputenv(variable, withOutputs(oneLit));
    QVERIFY(adaptConfigForStockPlugin());
    QByteArray const name = qgetenv(variable);
    QByteArray const content = readWhatVariableNames();
    QVERIFY(!adaptConfigForStockPlugin());
    QCOMPARE(qgetenv(variable), name);
    QCOMPARE(readWhatVariableNames(), content);
}

void StockPluginTest::newDocument_getsAFileOfItsOwn()
{
    qputenv(variable, withOutputs(oneLit));
    QVERIFY(adaptConfigForStockPlugin());
    int const first = memoryFile;
    QByteArray const other = R"({"mode":"preferred","name":"DP1"})";
    qputenv(variable, withOutputs(other));
    QVERIFY(adaptConfigForStockPlugin());
    QVERIFY(memoryFile != first);
    QCOMPARE(readWhatVariableNames(), withOutputs(other));
    close(first);
}

void StockPluginTest::unsetVariable_staysUnset()
{
    QVERIFY(!adaptConfigForStockPlugin());
    QVERIFY(!qEnvironmentVariableIsSet(variable));
    QCOMPARE(memoryFile, -1);
}

void StockPluginTest::otherText_staysAsItIs_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("file name") << QByteArray("/etc/eglfs.json");
    QTest::newRow("cut off") << withOutputs(oneLit).chopped(1);
    QTest::newRow("array") << "[" + withOutputs(oneLit) + "]";
    QTest::newRow("empty object") << QByteArray("{}");
}

void StockPluginTest::otherText_staysAsItIs()
{
    QFETCH(QByteArray, text);
    qputenv(variable, text);
    QVERIFY(!adaptConfigForStockPlugin());
    QVERIFY(qEnvironmentVariableIsSet(variable));
    QCOMPARE(qgetenv(variable), text);
    QCOMPARE(memoryFile, -1);
}

void StockPluginTest::documentThatLightsNothing_staysAsItIs_data()
{
    QTest::addColumn<QByteArray>("outputs");
    QTest::newRow("ignored") << QByteArray(R"({"mode":"ignore","name":"DP1"})");
    QTest::newRow("skipped and off")
        << QByteArray(R"({"mode":"skip","name":"DP1"},{"mode":"off","name":"DP2"})");
    QTest::newRow("no outputs in the list") << QByteArray(R"("HDMI1",1,null)");
}

void StockPluginTest::documentThatLightsNothing_staysAsItIs()
{
    QFETCH(QByteArray, outputs);
    qputenv(variable, withOutputs(outputs));
    QVERIFY(!adaptConfigForStockPlugin());
    QCOMPARE(qgetenv(variable), withOutputs(outputs));
    QCOMPARE(memoryFile, -1);
}

void StockPluginTest::failures_leaveNothingBehind_data()
{
    QTest::addColumn<bool*>("failure");
    QTest::newRow("no file in memory") << &memoryFileFails;
    QTest::newRow("not written") << &writeFails;
    QTest::newRow("not sealed") << &sealsFail;
}

void StockPluginTest::failures_leaveNothingBehind()
{
    QFETCH(bool*, failure);
    *failure = true;
    qputenv(variable, withOutputs(oneLit));
    QVERIFY(!adaptConfigForStockPlugin());
    QCOMPARE(qgetenv(variable), withOutputs(oneLit));
    QCOMPARE(fcntl(memoryFile, F_GETFD), -1);
    memoryFile = -1;
}

QVORLIN_TEST_MAIN(QCoreApplication, StockPluginTest)

#include "tst_stockplugin.moc"
