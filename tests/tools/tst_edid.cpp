#include "sampleedid.h"

#include <edid.h>

#include <messagecheck.h>

#include <random>
#include <vector>

#include <QCoreApplication>
#include <QTest>

class EdidTest : public QObject
{
    Q_OBJECT

private slots:
    void nameDescriptor_givesTheName_data();
    void nameDescriptor_givesTheName();
    void nameInAnyDescriptor_isFound_data();
    void nameInAnyDescriptor_isFound();
    void twoNames_theFirstCounts();
    void noNameDescriptor_givesNoName_data();
    void noNameDescriptor_givesNoName();
    void extensionBlocks_areLeftAlone();
    void everyShorterBlock_isAFault();
    void everyWrongHeaderByte_isAFault();
    void everyWrongByte_isAFault();
    void randomBytes_neverGiveMoreThanAName();
};

void EdidTest::nameDescriptor_givesTheName_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("name");

    QTest::newRow("ended by a line feed")
        << QByteArray("Monitor\n     ") << QStringLiteral("Monitor");
    QTest::newRow("fills its place")
        << QByteArray("Monitor 12345") << QStringLiteral("Monitor 12345");
    QTest::newRow("ended by a NUL") << QByteArray("TV\0\0\0xxxxxxxx", 13) << QStringLiteral("TV");
    QTest::newRow("padded without an end") << QByteArray("TV           ") << QStringLiteral("TV");
    QTest::newRow("blanks around") << QByteArray("  A  B \n    ") << QStringLiteral("A  B");
    QTest::newRow("control characters")
        << QByteArray("A\x1b[2J\tB\n    ") << QStringLiteral("A?[2J?B");
    QTest::newRow("not ASCII") << QByteArray("\xc4\x7f\xff"
                                             "B\n        ")
                               << QStringLiteral("???B");
    QTest::newRow("ends at once") << QByteArray("\nMonitor 1234") << QString();
    QTest::newRow("blanks alone") << QByteArray("             ") << QString();
}

void EdidTest::nameDescriptor_givesTheName()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, name);
    Edid const edid = parseEdid(sampleEdid(text));
    QCOMPARE(edid.fault, QString());
    QCOMPARE(edid.name, name);
}

void EdidTest::nameInAnyDescriptor_isFound_data()
{
    QTest::addColumn<int>("place");

    for (int place = 0; place < 4; ++place)
        QTest::addRow("%d", place) << place;
}

void EdidTest::nameInAnyDescriptor_isFound()
{
    QFETCH(int, place);
    QByteArray block = sampleEdid();
    // The last descriptor ends right before the last two bytes.
    block.replace(54 + 18 * place, 18, nameDescriptor("Screen\n"));
    QCOMPARE(parseEdid(withChecksum(block)).name, QStringLiteral("Screen"));
}

void EdidTest::twoNames_theFirstCounts()
{
    QByteArray block = sampleEdid("First\n");
    block.replace(108, 18, nameDescriptor("Second\n"));
    QCOMPARE(parseEdid(withChecksum(block)).name, QStringLiteral("First"));
}

void EdidTest::noNameDescriptor_givesNoName_data()
{
    QTest::addColumn<int>("byte");

    QTest::newRow("pixel clock, low byte") << 0;
    QTest::newRow("pixel clock, high byte") << 1;
    QTest::newRow("reserved byte before the tag") << 2;
    QTest::newRow("another tag") << 3;
    QTest::newRow("reserved byte after the tag") << 4;
}

void EdidTest::noNameDescriptor_givesNoName()
{
    QFETCH(int, byte);
    QByteArray block = sampleEdid("Monitor\n");
    QCOMPARE(parseEdid(block).name, QStringLiteral("Monitor"));
    block[NamePlace + byte] = char(block[NamePlace + byte] ^ 1);
    Edid const edid = parseEdid(withChecksum(block));
    QCOMPARE(edid.name, QString());
    QCOMPARE(edid.fault, QString());
}

void EdidTest::extensionBlocks_areLeftAlone()
{
    Edid const edid = parseEdid(sampleEdid("Monitor\n") + QByteArray(128, '\xff'));
    QCOMPARE(edid.name, QStringLiteral("Monitor"));
    QCOMPARE(edid.fault, QString());
}

void EdidTest::everyShorterBlock_isAFault()
{
    QByteArray const whole = sampleEdid("Monitor\n");
    for (int size = 0; size < whole.size(); ++size) {
        // Of exactly this size, so that a read beyond it is one beyond its memory.
        std::vector<char> const part(whole.begin(), whole.begin() + size);
        Edid const edid = parseEdid(QByteArray::fromRawData(part.data(), size));
        QCOMPARE(edid.name, QString());
        QCOMPARE(edid.fault, QStringLiteral("has %1 of 128 bytes").arg(size));
    }
    QCOMPARE(parseEdid({}).fault, QStringLiteral("has 0 of 128 bytes"));
}

void EdidTest::everyWrongHeaderByte_isAFault()
{
    for (int at = 0; at < 8; ++at) {
        QByteArray block = sampleEdid("Monitor\n");
        block[at] = '\x55';
        Edid const edid = parseEdid(withChecksum(block));
        QCOMPARE(edid.name, QString());
        QCOMPARE(edid.fault, QStringLiteral("does not begin as an EDID"));
    }
}

void EdidTest::everyWrongByte_isAFault()
{
    for (int at = 8; at < 128; ++at) {
        QByteArray block = sampleEdid("Monitor\n");
        block[at] = char(block[at] ^ 0x10);
        Edid const edid = parseEdid(block);
        QCOMPARE(edid.name, QString());
        QCOMPARE(edid.fault, QStringLiteral("has a wrong checksum"));
    }
}

void EdidTest::randomBytes_neverGiveMoreThanAName()
{
    std::mt19937 random(1);
    int named = 0;
    for (int round = 0; round < 20000; ++round) {
        QByteArray block = sampleEdid("Monitor\n");
        for (int change = int(random() % 16); change >= 0; --change)
            block[8 + int(random() % 119)] = char(random());
        Edid const edid = parseEdid(withChecksum(block));
        QCOMPARE(edid.fault, QString());
        QVERIFY(edid.name.size() <= 13);
        for (QChar const c : edid.name)
            QVERIFY(c >= QLatin1Char(' ') && c <= QLatin1Char('~'));
        named += edid.name.isEmpty() ? 0 : 1;
    }
    // Else the changes have spared nothing to look at.
    QVERIFY(named > 1000);
}

QVORLIN_TEST_MAIN(QCoreApplication, EdidTest)

#include "tst_edid.moc"
