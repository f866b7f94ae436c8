#include <failure.h>
#include <options.h>

#include "manualpage.h"
#include <messagecheck.h>

#include <QCoreApplication>
#include <QTest>

namespace {

using Texts = std::vector<std::string>;

/** Why the arguments are refused; empty: they aren't. */
QByteArray refusal(Texts const& arguments)
{
    try {
        parseCommandLine(arguments);
    } catch (Refusal const& refused) {
        return refused.what();
    }
    return {};
}

} // namespace

class SysinfoOptionsTest : public QObject
{
    Q_OBJECT

private slots:
    void commandAndOperands_areTakenOver();
    void optionBeforeOrBehindCommand_isTakenOver();
    void valueThatLooksLikeAnOption_isAValue();
    void doubleDash_endsTheOptions_data();
    void doubleDash_endsTheOptions();
    void singleDash_isAnOperand();
    void help_isText_data();
    void help_isText();
    void version_isText();
    void refusal_saysWhatWasWrong_data();
    void refusal_saysWhatWasWrong();
    void helpAndManualPage_nameTheSameCommands();
    void helpAndManualPage_nameTheSameOptions();
};

void SysinfoOptionsTest::commandAndOperands_areTakenOver()
{
    CommandLine const line = parseCommandLine({"set", "net/ip", "10.0.0.2"});
    QCOMPARE(line.command->name, "set");
    QCOMPARE(line.operands.texts, (Texts{"net/ip", "10.0.0.2"}));
    QVERIFY(!line.operands.initial);
    QCOMPARE(parseCommandLine({"list"}).operands.texts, Texts());
}

void SysinfoOptionsTest::optionBeforeOrBehindCommand_isTakenOver()
{
    QVERIFY(parseCommandLine({"watch", "--initial", "net"}).operands.initial);
    QVERIFY(parseCommandLine({"--initial", "watch"}).operands.initial);
}

void SysinfoOptionsTest::valueThatLooksLikeAnOption_isAValue()
{
    QCOMPARE(parseCommandLine({"set", "t", "-5"}).operands.texts, (Texts{"t", "-5"}));
    QCOMPARE(parseCommandLine({"get", "t", "--help"}).operands.texts, (Texts{"t", "--help"}));
    QCOMPARE(parseCommandLine({"set", "t", "--"}).operands.texts, (Texts{"t", "--"}));
}

void SysinfoOptionsTest::doubleDash_endsTheOptions_data()
{
    QTest::addColumn<QByteArrayList>("arguments");

    QTest::newRow("behind the command") << QByteArrayList{"get", "--", "-key"};
    QTest::newRow("before the command") << QByteArrayList{"--", "get", "-key"};
}

void SysinfoOptionsTest::doubleDash_endsTheOptions()
{
    QFETCH(QByteArrayList, arguments);
    Texts texts;
    for (QByteArray const& argument : arguments)
        texts.push_back(argument.toStdString());
    CommandLine const line = parseCommandLine(texts);
    QCOMPARE(line.command->name, "get");
    QCOMPARE(line.operands.texts, Texts{"-key"});
}

void SysinfoOptionsTest::singleDash_isAnOperand()
{
    QCOMPARE(parseCommandLine({"get", "-"}).operands.texts, Texts{"-"});
}

void SysinfoOptionsTest::help_isText_data()
{
    QTest::addColumn<QByteArray>("command");

    QTest::newRow("alone") << QByteArray();
    QTest::newRow("of a command") << QByteArray("set");
}

void SysinfoOptionsTest::help_isText()
{
    QFETCH(QByteArray, command);
    CommandLine const line = command.isEmpty() ? parseCommandLine({"--help"})
                                               : parseCommandLine({command.data(), "--help"});
    QVERIFY(!line.command);
    QCOMPARE(line.text.rfind("Usage: sysinfo ", 0), size_t(0));
    QCOMPARE(line.text.back(), '\n');
}

void SysinfoOptionsTest::version_isText()
{
    QVERIFY(!parseCommandLine({"--version"}).command);
    QCOMPARE(parseCommandLine({"--version"}).text, std::string("sysinfo " PROGRAM_VERSION "\n"));
}

void SysinfoOptionsTest::refusal_saysWhatWasWrong_data()
{
    QTest::addColumn<QByteArrayList>("arguments");
    QTest::addColumn<QByteArray>("what");

    auto const row = [](char const* name, QByteArrayList const& arguments, char const* what) {
        QTest::newRow(name) << arguments << QByteArray(what);
    };
    row("nothing", {}, "no command given");
    row("option alone", {"--initial"}, "no command given");
    row("unknown command", {"put"}, "unknown command 'put'");
    row("empty command", {""}, "unknown command ''");
    row("unknown option", {"get", "--nonsense"}, "unknown option '--nonsense'");
    row("unknown short option", {"-v"}, "unknown option '-v'");
    row("control characters", {"a\nb\033"}, "unknown command 'a\\nb\\x1b'");
    row("get without key", {"get"}, "get needs KEY [DEFAULT]");
    row("set without key", {"set"}, "set needs KEY VALUE");
    row("set without value", {"set", "a"}, "set needs KEY VALUE");
    row("remove without key", {"remove"}, "remove needs KEY|GROUP");
    row("get with too much", {"get", "a", "b", "c"}, "unexpected argument 'c'");
    row("set with too much", {"set", "a", "b", "c"}, "unexpected argument 'c'");
    row("list with too much", {"list", "a", "b"}, "unexpected argument 'b'");
    row("tree with too much", {"tree", "a"}, "unexpected argument 'a'");
    row("remove with too much", {"remove", "a", "b"}, "unexpected argument 'b'");
    row("watch with too much", {"watch", "a", "b"}, "unexpected argument 'b'");
    row("watch's option", {"--initial", "tree"}, "tree has no --initial");
}

void SysinfoOptionsTest::refusal_saysWhatWasWrong()
{
    QFETCH(QByteArrayList, arguments);
    QFETCH(QByteArray, what);
    Texts texts;
    for (QByteArray const& argument : arguments)
        texts.push_back(argument.toStdString());
    QCOMPARE(refusal(texts), what);
}

void SysinfoOptionsTest::helpAndManualPage_nameTheSameCommands()
{
    QString const help = QString::fromStdString(parseCommandLine({"--help"}).text);
    QStringList const inHelp = namesIn(help, "^  ([a-z]+) ");
    QCOMPARE(inHelp.size(), 6);
    QCOMPARE(
        namesIn(manualSection(QStringLiteral("COMMANDS")), "^\\.TP\\n\\.B[IR]? ([a-z]+)"), inHelp);
    QStringList inSynopsis =
        namesIn(manualSection(QStringLiteral("SYNOPSIS")), "^\\.B sysinfo ([a-z]+)");
    QCOMPARE(inSynopsis, inHelp);
}

void SysinfoOptionsTest::helpAndManualPage_nameTheSameOptions()
{
    QString const help = QString::fromStdString(parseCommandLine({"--help"}).text);
    QStringList const inHelp = namesIn(help, "^  (--[a-z-]+)");
    QCOMPARE(inHelp.size(), 3);
    QCOMPARE(
        namesIn(manualSection(QStringLiteral("OPTIONS")), "^\\.TP\\n\\.B (--[a-z-]+)"), inHelp);
}

QVORLIN_TEST_MAIN(QCoreApplication, SysinfoOptionsTest)

#include "tst_sysinfooptions.moc"
