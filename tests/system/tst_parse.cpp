#include "system/parse.h"

#include <atomic>
#include <limits>
#include <thread>
#include <vector>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>

#include "messagecheck.h"

namespace {

QRectF const None(0, 0, 0, 0);

/** Exactly, which the rectangles' own comparison is not. */
bool isSame(QRectF const& a, QRectF const& b)
{
    return a.x() == b.x() && a.y() == b.y() && a.width() == b.width() && a.height() == b.height();
}

QString printed(QRectF const& rect)
{
    return QStringLiteral("%1, %2, %3, %4")
        .arg(rect.x(), 0, 'g', 17)
        .arg(rect.y(), 0, 'g', 17)
        .arg(rect.width(), 0, 'g', 17)
        .arg(rect.height(), 0, 'g', 17);
}

/** A text with U+0000 where @p text has "0". */
QString withNul(QString text)
{
    return text.replace(QLatin1Char('0'), QChar(0));
}

} // namespace

class TestParse : public QObject
{
    Q_OBJECT
private slots:
    void rect_isRead_data();
    void rect_isRead();
    void rectOfAnotherNotation_isZero_data();
    void rectOfAnotherNotation_isZero();
    void everyShortText_matchesAsWithNumbersOfAnyDigits_data();
    void everyShortText_matchesAsWithNumbersOfAnyDigits();
    void longNumbers_areRead();
    void numbersBeyondDouble_areInfinite();
    void longTextsThatDontMatch_takeLittleTime();
    void size_isRead_data();
    void size_isRead();
    void parsing_worksInSeveralThreads();
};

void TestParse::rect_isRead_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QRectF>("rect");
    auto const add = [](char const* name, char const* text, QRectF const& rect) {
        QTest::newRow(name) << QString::fromUtf8(text) << rect;
    };
    add("corner and size", "10,20-300x200", QRectF(10, 20, 300, 200));
    add("two corners", "10,20-310,220", QRectF(10, 20, 300, 200));
    add("decimals", "0.5,.25-1x1", QRectF(0.5, 0.25, 1, 1));
    add("decimals everywhere", ".5,1.25-2.75x.125", QRectF(0.5, 1.25, 2.75, 0.125));
    add("decimals, two corners", ".5,1.25-2.75,.125", QRectF(0.5, 1.25, 2.25, -1.125));
    add("nearest double", "0.1,0.2-0.3x1.7", QRectF(0.1, 0.2, 0.3, 1.7));
    add("second corner left", "310,20-10,220", QRectF(310, 20, -300, 200));
    add("second corner above", "10,220-310,20", QRectF(10, 220, 300, -200));
    add("second corner left and above", "310,220-10,20", QRectF(310, 220, -300, -200));
    add("one corner twice", "5,6-5,6", QRectF(5, 6, 0, 0));
    add("all zero", "0,0-0x0", None);
    add("leading zeros", "010,0020-00300x0.50", QRectF(10, 20, 300, 0.5));
    // The end of an expression is before a final newline, too.
    add("newline at the end", "10,20-300x200\n", QRectF(10, 20, 300, 200));
    add("newline at the end, two corners", "10,20-310,220\n", QRectF(10, 20, 300, 200));
}

void TestParse::rect_isRead()
{
    QFETCH(QString, text);
    QFETCH(QRectF, rect);
    QRectF const result = parse::stringToRectF(text);
    QVERIFY2(isSame(result, rect), qPrintable(printed(result)));
}

void TestParse::rectOfAnotherNotation_isZero_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("null") << QString();
    QTest::newRow("zero character") << withNul(QStringLiteral("10,2-3x4"));
    QTest::newRow("zero character at the end") << withNul(QStringLiteral("1,2-3x40"));
    // An unpaired half of a character.
    QTest::newRow("surrogate") << QStringLiteral("1,2-3x4") + QChar(0xd800);
    auto const add = [](char const* name, char const* text) {
        QTest::newRow(name) << QString::fromUtf8(text);
    };
    add("empty", "");
    add("minus", "-10,20-300x200");
    add("minus before the width", "10,20--300x200");
    add("minus before a corner", "10,20-310,-220");
    add("plus", "+10,20-300x200");
    add("exponent", "1e1,20-300x200");
    add("point at the end of a number", "10.,20-300x200");
    add("point at the end", "10,20-300x200.");
    add("two points", "1.2.3,20-300x200");
    add("point alone", ".,20-300x200");
    add("upper-case X", "10,20-300X200");
    add("multiplication sign", "10,20-300×200");
    add("space at the start", " 10,20-300x200");
    add("space at the end", "10,20-300x200 ");
    add("space after the comma", "10, 20-300x200");
    add("space around the minus", "10,20 - 300x200");
    add("space before the x", "10,20-300 x200");
    add("tab", "10,\t20-310,220");
    add("two newlines at the end", "10,20-300x200\n\n");
    add("carriage return at the end", "10,20-300x200\r\n");
    add("newline at the start", "\n10,20-300x200");
    add("second line", "10,20-300x200\n1,2-3x4");
    add("number missing at the start", ",20-300x200");
    add("number missing at the end", "10,20-300x");
    add("three numbers", "10,20-300");
    add("five numbers", "10,20-300x200x1");
    add("five numbers, two corners", "10,20-310,220,1");
    add("size", "300x200");
    add("words", "left,top-widthxheight");
    add("infinity", "inf,inf-infxinf");
    add("hexadecimal", "0x10,20-300x200");
    add("Arabic digits", "١٠,٢٠-٣٠٠x٢٠٠");
    add("fullwidth digits", "１０,20-300x200");
}

void TestParse::rectOfAnotherNotation_isZero()
{
    QFETCH(QString, text);
    QRectF const result = parse::stringToRectF(text);
    QVERIFY2(isSame(result, None), qPrintable(printed(result)));
}

void TestParse::everyShortText_matchesAsWithNumbersOfAnyDigits_data()
{
    QTest::addColumn<QString>("form");
    QTest::newRow("left") << QStringLiteral("%1,2-3x4");
    QTest::newRow("width") << QStringLiteral("1,2-%1x4");
    QTest::newRow("height") << QStringLiteral("1,2-3x%1");
    QTest::newRow("last corner") << QStringLiteral("1,2-3,%1");
    QTest::newRow("alone") << QStringLiteral("%1");
}

void TestParse::everyShortText_matchesAsWithNumbersOfAnyDigits()
{
    // The notations at their plainest, with numbers that can be split in several ways.
    QRegularExpression const size(
        QStringLiteral(R"(^(\d*\.?\d+),(\d*\.?\d+)-(\d*\.?\d+)x(\d*\.?\d+)$)"));
    QRegularExpression const corners(
        QStringLiteral(R"(^(\d*\.?\d+),(\d*\.?\d+)-(\d*\.?\d+),(\d*\.?\d+)$)"));
    constexpr char alphabet[] = "70.,-x \n";
    constexpr int letters = int(sizeof(alphabet)) - 1;
    QFETCH(QString, form);
    int matches = 0;
    for (int length = 0, count = 1; length <= 4; ++length, count *= letters) {
        for (int number = 0; number < count; ++number) {
            QString part;
            for (int i = 0, rest = number; i < length; ++i, rest /= letters)
                part += QLatin1Char(alphabet[rest % letters]);
            QString const text = form.arg(part);
            QRectF wanted = None;
            QRegularExpressionMatch match = size.match(text);
            bool const isSize = match.hasMatch();
            if (!isSize)
                match = corners.match(text);
            if (match.hasMatch()) {
                ++matches;
                double const x = match.captured(1).toDouble();
                double const y = match.captured(2).toDouble();
                double const third = match.captured(3).toDouble();
                double const fourth = match.captured(4).toDouble();
                wanted = isSize ? QRectF(x, y, third, fourth) : QRectF(x, y, third - x, fourth - y);
            }
            QVERIFY2(isSame(parse::stringToRectF(text), wanted), qPrintable(text));
        }
    }
    QCOMPARE(matches > 0, form.size() > 2);
}

void TestParse::longNumbers_areRead()
{
    QString const zeros(10000, QLatin1Char('0'));
    QRectF const rect = parse::stringToRectF(zeros + QStringLiteral("7,3.") + zeros +
                                             QStringLiteral("-12345678901234567890x0.5") + zeros);
    QVERIFY2(isSame(rect, QRectF(7, 3, 12345678901234567890.0, 0.5)), qPrintable(printed(rect)));
}

void TestParse::numbersBeyondDouble_areInfinite()
{
    QString const huge(400, QLatin1Char('9'));
    constexpr double infinity = std::numeric_limits<double>::infinity();
    QVERIFY(isSame(parse::stringToRectF(huge + QStringLiteral(",1-2x") + huge),
        QRectF(infinity, 1, 2, infinity)));
    QVERIFY(isSame(parse::stringToRectF(QStringLiteral("1,2-") + huge + QStringLiteral(",5")),
        QRectF(1, 2, infinity, 3)));
    QString const tiny = QStringLiteral("0.") + QString(400, QLatin1Char('0')) + QLatin1Char('1');
    QVERIFY(isSame(parse::stringToRectF(tiny + QStringLiteral(",1-2x3")), QRectF(0, 1, 2, 3)));
}

void TestParse::longTextsThatDontMatch_takeLittleTime()
{
    QString const digits(20000, QLatin1Char('1'));
    QStringList const texts{digits, digits + QLatin1Char('x'), QLatin1Char('.') + digits,
        digits + QStringLiteral(",") + digits + QStringLiteral("-") + digits + QStringLiteral(",") +
            digits + QStringLiteral("x"),
        QString(digits).replace(QLatin1Char('1'), QStringLiteral("1."))};
    QElapsedTimer time;
    time.start();
    for (QString const& text : texts)
        QVERIFY(isSame(parse::stringToRectF(text), None));
    // Trying every split of the digits would take longer than anyone waits.
    QVERIFY2(time.elapsed() < 2000, qPrintable(QString::number(time.elapsed())));
}

void TestParse::size_isRead_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QSize>("size");
    QTest::newRow("null") << QString() << QSize(-1, -1);
    QTest::newRow("zero character") << withNul(QStringLiteral("640x0")) << QSize(0, 0);
    auto const add = [](char const* name, char const* text, QSize const& size) {
        QTest::newRow(name) << QString::fromUtf8(text) << size;
    };
    add("size", "1920x1080", QSize(1920, 1080));
    add("zeros", "0x0", QSize(0, 0));
    add("no x", "1920", QSize(-1, -1));
    add("empty", "", QSize(-1, -1));
    add("two x", "1x2x3", QSize(-1, -1));
    add("two x at once", "1xx2", QSize(-1, -1));
    add("x at the end as well", "1x2x", QSize(-1, -1));
    add("upper-case X", "1920X1080", QSize(-1, -1));
    add("both cases", "1920x10X80", QSize(1920, 0));
    add("x alone", "x", QSize(0, 0));
    add("width only", "640x", QSize(640, 0));
    add("height only", "x480", QSize(0, 480));
    add("words", "axb", QSize(0, 0));
    add("one word", "640xb", QSize(640, 0));
    add("number and word", "640px480", QSize(0, 480));
    add("decimal point", "1.5x2", QSize(0, 2));
    add("exponent", "1e3x2", QSize(0, 2));
    add("grouped", "1,920x1080", QSize(0, 1080));
    add("leading zeros", "010x0011", QSize(10, 11));
    add("binary", "0b1x1", QSize(0, 1));
    add("hexadecimal", "0x10", QSize(0, 10));
    add("Arabic digits", "٦٤٠x٤٨٠", QSize(0, 0));
    add("minus", "-5x-6", QSize(-5, -6));
    add("plus", "+5x+6", QSize(5, 6));
    add("minus sign", "−5x6", QSize(-5, 6));
    add("two signs", "--5x6", QSize(0, 6));
    add("space around numbers", " 5 x\t6\n", QSize(5, 6));
    add("space in a number", "1 920x1080", QSize(0, 1080));
    add("space after a sign", "- 5x6", QSize(0, 6));
    add("largest", "2147483647x2147483647", QSize(2147483647, 2147483647));
    add("smallest", "-2147483648x1", QSize(std::numeric_limits<int>::min(), 1));
    add("one too large", "2147483648x1", QSize(0, 1));
    add("one too small", "1x-2147483649", QSize(1, 0));
    add("far too large", "99999999999999999999x480", QSize(0, 480));
    add("rectangle", "10,20-300x200", QSize(0, 200));
}

void TestParse::size_isRead()
{
    QFETCH(QString, text);
    QFETCH(QSize, size);
    QCOMPARE(parse::stringToSize(text), size);
}

void TestParse::parsing_worksInSeveralThreads()
{
    constexpr int threadCount = 4;
    constexpr int rounds = 500;
    std::atomic<int> right(0);
    std::atomic<bool> go(false);
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([i, &right, &go] {
            while (!go)
                std::this_thread::yield();
            QString const number = QString::number(i);
            for (int round = 0; round < rounds; ++round) {
                right += isSame(parse::stringToRectF(number + QStringLiteral(",1-2x3.5")),
                    QRectF(i, 1, 2, 3.5));
                right += isSame(parse::stringToRectF(QStringLiteral("1,2-9,") + number),
                    QRectF(1, 2, 8, i - 2));
                right += parse::stringToSize(number + QStringLiteral("x7")) == QSize(i, 7);
            }
        });
    }
    go = true;
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(right.load(), 3 * threadCount * rounds);
}

QVORLIN_TEST_MAIN(QCoreApplication, TestParse)

#include "tst_parse.moc"
