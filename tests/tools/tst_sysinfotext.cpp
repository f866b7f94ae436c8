#include <text.h>

#include <messagecheck.h>

#include <QCoreApplication>
#include <QTest>

class SysinfoTextTest : public QObject
{
    Q_OBJECT

private slots:
    void everyText_becomesOneHarmlessLine_data();
    void everyText_becomesOneHarmlessLine();
    void everyByte_canBeReadBack();
    void value_isQuoted();
    void longValue_isCutBetweenCharacters_data();
    void longValue_isCutBetweenCharacters();
    void longName_isCut();
};

void SysinfoTextTest::everyText_becomesOneHarmlessLine_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("line");

    auto const row = [](char const* name, QByteArray const& text, char const* line) {
        QTest::newRow(name) << text << QByteArray(line);
    };
    row("empty", "", "");
    row("plain", "camera 1 = 'a'", "camera 1 = 'a'");
    row("letters behind a backslash", "\n\r\t\\\"", R"(\n\r\t\\\")");
    row("NUL", QByteArray("a\0b", 3), R"(a\x00b)");
    row("terminal's escape", "\033[31m", R"(\x1b[31m)");
    row("delete", "\177", R"(\x7f)");
    row("second set of controls", "\xc2\x80\xc2\x9b\xc2\x9f\xc2\xa0",
        "\\xc2\\x80\\xc2\\x9b\\xc2\\x9f\xc2\xa0");
    row("two, three and four bytes", "é€😀", "é€😀");
    row("turned direction", "\u202e\u2066\u200f\u061c",
        R"(\xe2\x80\xae\xe2\x81\xa6\xe2\x80\x8f\xd8\x9c)");
    row("line separators", "\u2028\u2029", R"(\xe2\x80\xa8\xe2\x80\xa9)");
    row("joiner", "\u200d", "\u200d");
    row("continuation alone", "\x80z\xbf", R"(\x80z\xbf)");
    row("cut off", "\xe2\x82", R"(\xe2\x82)");
    row("cut off by a letter", "\xe2\x82z", R"(\xe2\x82z)");
    row("overlong slash", "\xc0\xaf", R"(\xc0\xaf)");
    row("overlong three", "\xe0\x9f\xbf", R"(\xe0\x9f\xbf)");
    row("overlong four", "\xf0\x8f\xbf\xbf", R"(\xf0\x8f\xbf\xbf)");
    row("surrogate", "\xed\xa0\x80", R"(\xed\xa0\x80)");
    row("beyond the last", "\xf4\x90\x80\x80", R"(\xf4\x90\x80\x80)");
    row("the last", "\xf4\x8f\xbf\xbf", "\xf4\x8f\xbf\xbf");
    row("no lead at all", "\xf8\xff", R"(\xf8\xff)");
}

void SysinfoTextTest::everyText_becomesOneHarmlessLine()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, line);
    QCOMPARE(QByteArray::fromStdString(escaped(text.toStdString())), line);
}

void SysinfoTextTest::everyByte_canBeReadBack()
{
    QByteArray all;
    for (int byte = 0; byte < 256; ++byte)
        all.append(char(byte));
    QByteArray const line = QByteArray::fromStdString(escaped(all.toStdString()));
    QByteArray readBack;
    for (int i = 0; i < line.size(); ++i) {
        if (line[i] != '\\') {
            readBack.append(line[i]);
        } else if (line[++i] == 'x') {
            readBack.append(QByteArray::fromHex(line.mid(i + 1, 2)));
            i += 2;
        } else {
            readBack.append(QByteArray("\n\r\t\\\"")[int(QByteArray("nrt\\\"").indexOf(line[i]))]);
        }
    }
    QCOMPARE(readBack, all);
}

void SysinfoTextTest::value_isQuoted()
{
    QCOMPARE(valueText(""), std::string(R"("")"));
    QCOMPARE(valueText("a \"b\"\n"), std::string(R"("a \"b\"\n")"));
    QCOMPARE(valueText(std::string(100000, 'x')).size(), size_t(100002));
}

void SysinfoTextTest::longValue_isCutBetweenCharacters_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("fits") << QByteArray("abc") << QByteArray("\"abc\"");
    QTest::newRow("letters") << QByteArray("abcd") << QByteArray("\"abc\"... (4 bytes)");
    QTest::newRow("three bytes each") << QByteArray("€€€") << QByteArray("\"€€€\"");
    QTest::newRow("and one more") << QByteArray("€€€€") << QByteArray("\"€€€\"... (12 bytes)");
    QTest::newRow("no UTF-8") << QByteArray("\xff\xfe\xfd\xfc")
                              << QByteArray("\"\\xff\\xfe\\xfd\"... (4 bytes)");
    QTest::newRow("escapes") << QByteArray("\n\n\n\n") << QByteArray("\"\\n\\n\\n\"... (4 bytes)");
}

void SysinfoTextTest::longValue_isCutBetweenCharacters()
{
    QFETCH(QByteArray, value);
    QFETCH(QByteArray, text);
    QCOMPARE(QByteArray::fromStdString(valueText(value.toStdString(), 3)), text);
}

void SysinfoTextTest::longName_isCut()
{
    QCOMPARE(inQuotes("net/ip"), std::string("'net/ip'"));
    QCOMPARE(inQuotes(std::string(80, 'a')), '\'' + std::string(80, 'a') + '\'');
    QCOMPARE(inQuotes(std::string(81, 'a')), '\'' + std::string(80, 'a') + "...'");
}

QVORLIN_TEST_MAIN(QCoreApplication, SysinfoTextTest)

#include "tst_sysinfotext.moc"
