#include <cstdarg>
#include <random>

#include <dlfcn.h>
#include <fcntl.h>

#include <QTemporaryDir>
#include <QTest>

#include "extdisplay/extdisplay.h"

#include "messagecheck.h"

using extdisplay::BoardOutputInfo;
using extdisplay::getOutputConnectorInfo;

static constexpr char const* variable = "EXTDISPLAY_OUTPUTS_CONFIG";
static QByteArray defaultMap;

// Takes the place of libc's, which QFile calls: the default map is a file of the test's own.
extern "C" __attribute__((visibility("default"))) int open64(char const* path, int flags, ...)
{
    static auto* const real =
        reinterpret_cast<int (*)(char const*, int, ...)>(dlsym(RTLD_NEXT, "open64"));
    va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    bool const isDefault = qstrcmp(path, "/tmp/extdisplay/outputs.json") == 0;
    return real(isDefault ? defaultMap.constData() : path, flags, mode);
}

// Of the sanitizer's runtime, where there is one.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

class OutputsMapTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void defaultEntry_isEmpty();
    void fullEntry_isReadWhole();
    void keysThatAreAbsent_haveTheirDefaults();
    void valuesOfOtherTypes_haveTheirDefaults();
    void connectorsThatAreNoStrings_areEmptyStrings();
    void crtcMask_isAnInteger_data();
    void crtcMask_isAnInteger();
    void oneOfSeveral_isTheOneAskedFor();
    void emptyKey_isAnOutputLikeAnyOther();
    void key_isCaseSensitive();
    void outputNotInMap_isEmptyEntry();
    void memberThatIsNoObject_isEmptyEntry_data();
    void memberThatIsNoObject_isEmptyEntry();
    void laterDuplicate_replacesEarlier();
    void otherDocument_isEmptyEntry_data();
    void otherDocument_isEmptyEntry();
    void hugeMap_isRead();
    void missingFile_givesConnectorOfThatName();
    void fileThatCannotBeOpened_givesConnectorOfThatName();
    void unsetVariable_readsDefaultMap();
    void emptyVariable_readsDefaultMap();
    void pathBeyondAscii_isOpened();

private:
    void write(QByteArray const& text) { writeTo(mPath, text); }
    void writeTo(QString const& path, QByteArray const& text);

    QTemporaryDir mDirectory;
    QString mPath = mDirectory.filePath(QStringLiteral("outputs.json"));
};

static QStringList list(std::initializer_list<char const*> texts)
{
    QStringList strings;
    for (char const* text : texts)
        strings.append(QString::fromUtf8(text));
    return strings;
}

static BoardOutputInfo get(char const* output)
{
    return getOutputConnectorInfo(QString::fromUtf8(output));
}

static void verify(BoardOutputInfo const& info, BoardOutputInfo const& expected)
{
    QCOMPARE(info.output, expected.output);
    QCOMPARE(info.name, expected.name);
    QCOMPARE(info.qtConnectors, expected.qtConnectors);
    QCOMPARE(info.crtcMask, expected.crtcMask);
    QCOMPARE(info.audio, expected.audio);
    QCOMPARE(info.fixedModes, expected.fixedModes);
}

static void verifyEmpty(BoardOutputInfo const& info)
{
    verify(info, {{}, {}, {}, 0, {}, false});
}

static void verifyDefaults(BoardOutputInfo const& info)
{
    verify(info, {QStringLiteral("HDMI1"), {}, {}, -1, {}, false});
}

static void verifySynthesised(BoardOutputInfo const& info, char const* output)
{
    QString const name = QString::fromUtf8(output);
    verify(info, {name, name, {name}, -1, {}, false});
}

void OutputsMapTest::init()
{
    QVERIFY(mDirectory.isValid());
    QFile::remove(mPath);
    qputenv(variable, QFile::encodeName(mPath));
    defaultMap = QFile::encodeName(mDirectory.filePath(QStringLiteral("missing")));
}

void OutputsMapTest::writeTo(QString const& path, QByteArray const& text)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(text), qint64(text.size()));
}

void OutputsMapTest::defaultEntry_isEmpty()
{
    verifyEmpty(BoardOutputInfo());
}

void OutputsMapTest::fullEntry_isReadWhole()
{
    write(R"({"outputs": {"out": {"name": "Bühne", "qtconnectors": ["DP1", "HDMI1"],
        "crtcmask": 2, "audio": "hw:1", "fixed-modes": true, "unheard of": {}}}})");
    verify(get("out"), {QStringLiteral("out"), QString::fromUtf8("Bühne"), list({"DP1", "HDMI1"}),
                           2, QStringLiteral("hw:1"), true});
}

void OutputsMapTest::keysThatAreAbsent_haveTheirDefaults()
{
    write(R"({"outputs": {"HDMI1": {}}})");
    verifyDefaults(get("HDMI1"));
}

void OutputsMapTest::valuesOfOtherTypes_haveTheirDefaults()
{
    write(R"({"outputs": {"HDMI1": {"name": 1, "qtconnectors": "HDMI1", "crtcmask": "2",
        "audio": null, "fixed-modes": 1}}})");
    verifyDefaults(get("HDMI1"));
}

void OutputsMapTest::connectorsThatAreNoStrings_areEmptyStrings()
{
    write(R"({"outputs": {"HDMI1": {"qtconnectors": [1, "HDMI1", null, ["DP1"]]}}})");
    QCOMPARE(get("HDMI1").qtConnectors, list({"", "HDMI1", "", ""}));
}

void OutputsMapTest::crtcMask_isAnInteger_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<int>("mask");

    QTest::newRow("zero") << QByteArray("0") << 0;
    QTest::newRow("highest") << QByteArray("2147483647") << 2147483647;
    QTest::newRow("negative") << QByteArray("-2") << -2;
    QTest::newRow("too high") << QByteArray("2147483648") << -1;
    QTest::newRow("fraction") << QByteArray("1.5") << -1;
    QTest::newRow("boolean") << QByteArray("true") << -1;
}

void OutputsMapTest::crtcMask_isAnInteger()
{
    QFETCH(QByteArray, value);
    write(R"({"outputs": {"HDMI1": {"crtcmask": )" + value + "}}}");
    QTEST(get("HDMI1").crtcMask, "mask");
}

void OutputsMapTest::oneOfSeveral_isTheOneAskedFor()
{
    write(R"({"outputs": {"b": {"name": "second"}, "a": {"name": "first"}, "c": 3}})");
    QCOMPARE(get("a").name, QStringLiteral("first"));
    QCOMPARE(get("b").name, QStringLiteral("second"));
}

void OutputsMapTest::emptyKey_isAnOutputLikeAnyOther()
{
    write(R"({"outputs": {"": {"name": "nameless"}}})");
    QCOMPARE(get("").name, QStringLiteral("nameless"));
    QCOMPARE(getOutputConnectorInfo(QString()).name, QStringLiteral("nameless"));
}

void OutputsMapTest::key_isCaseSensitive()
{
    write(R"({"outputs": {"HDMI1": {}}})");
    verifyEmpty(get("hdmi1"));
}

void OutputsMapTest::outputNotInMap_isEmptyEntry()
{
    write(R"({"outputs": {"HDMI1": {"name": "a", "crtcmask": 1}}})");
    verifyEmpty(get("HDMI2"));
}

void OutputsMapTest::memberThatIsNoObject_isEmptyEntry_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("string") << QByteArray("\"HDMI1\"");
    QTest::newRow("array") << QByteArray("[{}]");
    QTest::newRow("number") << QByteArray("1");
    QTest::newRow("null") << QByteArray("null");
}

void OutputsMapTest::memberThatIsNoObject_isEmptyEntry()
{
    QFETCH(QByteArray, value);
    write(R"({"outputs": {"HDMI1": )" + value + R"(, "DP1": {"name": "other"}}})");
    verifyEmpty(get("HDMI1"));
    QCOMPARE(get("DP1").name, QStringLiteral("other"));
}

void OutputsMapTest::laterDuplicate_replacesEarlier()
{
    write(R"({"outputs": {"HDMI1": {"name": "old", "crtcmask": 1, "audio": "old"}, "DP1": {},
        "HDMI1": {"name": "new"}}})");
    // Qt 5.15's parser forgets to free the object that is replaced.
    if (__lsan_disable)
        __lsan_disable();
    BoardOutputInfo const info = get("HDMI1");
    if (__lsan_enable)
        __lsan_enable();
    QCOMPARE(info.name, QStringLiteral("new"));
    QCOMPARE(info.crtcMask, -1);
    QCOMPARE(info.audio, QString());
}

void OutputsMapTest::otherDocument_isEmptyEntry_data()
{
    QTest::addColumn<QByteArray>("text");

    constexpr int large = 10 * 1024 * 1024;
    QByteArray noise(large, '\0');
    std::mt19937 generator(1);
    for (char& byte : noise)
        byte = char(generator());

    QTest::newRow("empty file") << QByteArray();
    QTest::newRow("array") << QByteArray(R"([{"outputs": {"HDMI1": {}}}])");
    QTest::newRow("string") << QByteArray("\"outputs\"");
    QTest::newRow("cut off") << QByteArray(R"({"outputs": {"HDMI1": {)");
    QTest::newRow("text behind the object") << QByteArray(R"({"outputs": {"HDMI1": {}}} and more)");
    QTest::newRow("invalid UTF-8")
        << QByteArray("{\"outputs\": {\"HDMI1\": {\"name\": \"\xff\"}}}");
    QTest::newRow("no outputs") << QByteArray(R"({"HDMI1": {}})");
    QTest::newRow("outputs is an array") << QByteArray(R"({"outputs": [{"HDMI1": {}}]})");
    QTest::newRow("outputs is null") << QByteArray(R"({"outputs": null})");
    QTest::newRow("10 MB of nonsense") << noise;
    QTest::newRow("10 MB of zeros") << QByteArray(large, '\0');
    QTest::newRow("10 MB of brackets") << QByteArray(large, '[');
    QTest::newRow("10 MB of braces") << QByteArray("{\"outputs\":").repeated(large / 11);
}

void OutputsMapTest::otherDocument_isEmptyEntry()
{
    QFETCH(QByteArray, text);
    write(text);
    verifyEmpty(get("HDMI1"));
}

void OutputsMapTest::hugeMap_isRead()
{
    QByteArray const filling = "\"fill\": \"" + QByteArray(10 * 1024 * 1024, 'x') + "\",";
    write("{" + filling + R"("outputs": {)" + filling + R"("HDMI1": {"name": "found"}}})");
    QCOMPARE(get("HDMI1").name, QStringLiteral("found"));
}

void OutputsMapTest::missingFile_givesConnectorOfThatName()
{
    verifySynthesised(get("HDMI1"), "HDMI1");
    verifySynthesised(get(""), "");
}

void OutputsMapTest::fileThatCannotBeOpened_givesConnectorOfThatName()
{
    qputenv(variable, QFile::encodeName(mDirectory.path()));
    verifySynthesised(get("HDMI1"), "HDMI1");
    write("{}");
    qputenv(variable, QFile::encodeName(mPath + QStringLiteral("/outputs.json")));
    verifySynthesised(get("HDMI1"), "HDMI1");
}

void OutputsMapTest::unsetVariable_readsDefaultMap()
{
    qunsetenv(variable);
    verifySynthesised(get("HDMI1"), "HDMI1");
    defaultMap = QFile::encodeName(mPath);
    write(R"({"outputs": {"HDMI1": {"name": "default"}}})");
    QCOMPARE(get("HDMI1").name, QStringLiteral("default"));
}

void OutputsMapTest::emptyVariable_readsDefaultMap()
{
    qputenv(variable, "");
    defaultMap = QFile::encodeName(mPath);
    write(R"({"outputs": {"HDMI1": {"name": "default"}}})");
    QCOMPARE(get("HDMI1").name, QStringLiteral("default"));
}

void OutputsMapTest::pathBeyondAscii_isOpened()
{
    QString const path = mDirectory.filePath(QString::fromUtf8("Ausgänge"));
    writeTo(path, R"({"outputs": {"HDMI1": {"name": "found"}}})");
    qputenv(variable, QFile::encodeName(path));
    QCOMPARE(get("HDMI1").name, QStringLiteral("found"));
}

QVORLIN_TEST_MAIN(QCoreApplication, OutputsMapTest)

#include "tst_outputsmap.moc"
