#include "messagecheck.h"
#include "shmtest.h"

#include <memory>
#include <vector>

#include <QCoreApplication>
#include <QRegularExpression>
#include <QTest>

using namespace shmtest;

class SharingTest : public QObject
{
    Q_OBJECT

private slots:
    void eightReaders_seeEveryFrameOf1080p60();
};

void SharingTest::eightReaders_seeEveryFrameOf1080p60()
{
    constexpr int readerCount = 8;
    constexpr int frameCount = 300;
    Place place;
    Peer writer({QStringLiteral("write-counted"), QStringLiteral("cam1"),
        QString::number(frameCount), QStringLiteral("60")});
    QCOMPARE(writer.readLine(), QByteArray("writing"));
    std::vector<std::unique_ptr<Peer>> readers;
    for (int i = 0; i < readerCount; ++i) {
        readers.push_back(std::make_unique<Peer>(
            QStringList{QStringLiteral("read-counted"), QStringLiteral("cam1")}));
        QCOMPARE(readers.back()->readLine(), QByteArray("reading"));
    }
    writer.process().write("go\n");

    QByteArray const written = writer.readLine(60000);
    qInfo("%s", written.constData());
    for (auto const& reader : readers) {
        QByteArray const read = reader->readLine(60000);
        QCOMPARE(
            read, "frames " + QByteArray::number(frameCount) + " missed 0 torn 0 disordered 0");
    }
    QRegularExpression const numbers(QStringLiteral("^published (\\d+) waits (\\d+) "));
    QRegularExpressionMatch const match = numbers.match(QString::fromLatin1(written));
    QVERIFY(match.hasMatch());
    QCOMPARE(match.captured(1).toInt(), frameCount);
    // Not once did the kernel take the writer off its processor to wait for something.
    QCOMPARE(match.captured(2).toInt(), 0);
}

QVORLIN_TEST_MAIN(QCoreApplication, SharingTest)

#include "tst_sharing.moc"
