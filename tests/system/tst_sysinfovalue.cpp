#include <QDir>

#include "messagecheck.h"
#include "system/sysinfo.h"
#include "system/sysinfovalue.h"
#include "teststore.h"

class SysInfoValueTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void missingKey_givesDefault();
    void emptyKey_givesDefault();
    void value_isDecodedFromUtf8();
    void key_isEncodedAsUtf8();
    void newlineAndSpace_areKept();
    void binaryValue_endsAtFirstNul_data();
    void binaryValue_endsAtFirstNul();
    void invalidUtf8_becomesReplacementCharacters();
    void largeValue_isWhole();
    void group_isNoValue();

private:
    TestStore mStore;
};

void SysInfoValueTest::initTestCase()
{
    QVERIFY(mStore.isValid());
    QVERIFY(QDir().mkdir(QStringLiteral("store")));
}

void SysInfoValueTest::missingKey_givesDefault()
{
    QString const text = QString::fromUtf8("Größe \u20ac");
    QCOMPARE(getSysinfoValue(QStringLiteral("nothing"), text), text);
    QCOMPARE(getSysinfoValue(QStringLiteral("nothing"), QString()), QString());
    // The default goes the same way as a value.
    QCOMPARE(
        getSysinfoValue(QStringLiteral("nothing"), QString(QChar(u'a')) + QChar() + QChar(u'b')),
        QStringLiteral("a"));
}

void SysInfoValueTest::emptyKey_givesDefault()
{
    QCOMPARE(getSysinfoValue(QString(), QStringLiteral("default")), QStringLiteral("default"));
    QCOMPARE(
        getSysinfoValue(QStringLiteral(""), QStringLiteral("default")), QStringLiteral("default"));
}

void SysInfoValueTest::value_isDecodedFromUtf8()
{
    QCOMPARE(sysinfo_set_string("name", "Gr\xc3\xb6\xc3\x9f"
                                        "e"),
        1);
    QCOMPARE(getSysinfoValue(QStringLiteral("name"), QString()), QString::fromUtf8("Größe"));
    QCOMPARE(sysinfo_set_string("name", ""), 1);
    QCOMPARE(getSysinfoValue(QStringLiteral("name"), QStringLiteral("default")), QString());
}

void SysInfoValueTest::key_isEncodedAsUtf8()
{
    QCOMPARE(sysinfo_set_string("gr\xc3\xb6\xc3\x9f"
                                "e/x",
                 "7"),
        1);
    QCOMPARE(getSysinfoValue(QString::fromUtf8("größe/x"), QString()), QStringLiteral("7"));
}

void SysInfoValueTest::newlineAndSpace_areKept()
{
    QCOMPARE(sysinfo_set_string("text", " padded \r\n"), 1);
    QCOMPARE(getSysinfoValue(QStringLiteral("text"), QString()), QStringLiteral(" padded \r\n"));
}

void SysInfoValueTest::binaryValue_endsAtFirstNul_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("text");
    QTest::newRow("in the middle") << QByteArray("ab\0cd", 5) << QStringLiteral("ab");
    QTest::newRow("at the end") << QByteArray("ab\0", 3) << QStringLiteral("ab");
    QTest::newRow("at the start") << QByteArray("\0ab", 3) << QString();
}

void SysInfoValueTest::binaryValue_endsAtFirstNul()
{
    QFETCH(QByteArray, value);
    QFETCH(QString, text);
    QVERIFY(teststore::put(QStringLiteral("store/binary"), value));
    QCOMPARE(getSysinfoValue(QStringLiteral("binary"), QStringLiteral("default")), text);
}

void SysInfoValueTest::invalidUtf8_becomesReplacementCharacters()
{
    QCOMPARE(sysinfo_set_string("latin1", "Gr\xf6\xdf"
                                          "e"),
        1);
    QString const text = getSysinfoValue(QStringLiteral("latin1"), QString());
    QCOMPARE(text, QString::fromUtf8("Gr\xf6\xdf"
                                     "e"));
    QVERIFY(text.contains(QChar(QChar::ReplacementCharacter)));
}

void SysInfoValueTest::largeValue_isWhole()
{
    const QByteArray value(1 << 20, 'v');
    QCOMPARE(sysinfo_set_string("large", value), 1);
    QCOMPARE(getSysinfoValue(QStringLiteral("large"), QString()), QString::fromLatin1(value));
}

void SysInfoValueTest::group_isNoValue()
{
    QCOMPARE(sysinfo_set_string("group/key", "value"), 1);
    QString const text = getSysinfoValue(QStringLiteral("group"), QStringLiteral("default"));
    // The size of a directory is the file system's affair: nothing of it is ever readable.
    QVERIFY(text == QStringLiteral("default") || text.isEmpty());
}

QVORLIN_TEST_MAIN(QCoreApplication, SysInfoValueTest)

#include "tst_sysinfovalue.moc"
