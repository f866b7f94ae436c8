#include <options.h>

#include "manualpage.h"
#include <messagecheck.h>

#include <QCoreApplication>
#include <QTest>

namespace {

CommandLine parse(QString const& line)
{
    std::vector<std::string> arguments;
    for (QString const& argument : line.split(QLatin1Char(' '), Qt::SkipEmptyParts))
        arguments.push_back(argument.toStdString());
    return parseCommandLine(arguments);
}

Options optionsOf(QString const& line)
{
    CommandLine const parsed = parse(line);
    if (parsed.action != CommandLine::Action::Publish)
        qCritical("refused: %s", parsed.error.c_str());
    return parsed.options;
}

} // namespace

class PublishOptionsTest : public QObject
{
    Q_OBJECT

private slots:
    void noArguments_meanTestSourceWithDefaults();
    void everyOption_isTakenOver();
    void valueAfterEqualsSign_isTakenOver();
    void inputOptions_keepTheirOrder();
    void doubleDash_endsTheOptions();
    void dash_isAnInput();
    void help_winsOverLaterMistakes();
    void version_isAnAction();
    void rate_data();
    void rate();
    void refusal_saysWhatWasWrong_data();
    void refusal_saysWhatWasWrong();
    void emptyInput_isRefused();
    void usage_andManualPage_nameTheSameOptions();
};

void PublishOptionsTest::noArguments_meanTestSourceWithDefaults()
{
    Options const options = optionsOf(QString());
    QCOMPARE(options.input, std::string());
    QCOMPARE(options.name, std::string("live"));
    QCOMPARE(options.group, std::string());
    QCOMPARE(options.mode, mode_t(0660));
    QCOMPARE(options.frames, 8);
    QCOMPARE(options.width, 0);
    QCOMPARE(options.height, 0);
    QCOMPARE(options.rate.num, 0);
    QCOMPARE(options.audioRate, 0);
    QCOMPARE(options.channels, 0);
    QCOMPARE(options.duration, int64_t(0));
    QVERIFY(options.video && options.audio);
    QVERIFY(!options.loop && !options.stats);
}

void PublishOptionsTest::everyOption_isTakenOver()
{
    Options const options =
        optionsOf(QStringLiteral("--name cam --format v4l2 --loop --duration 1.5 --size 640x360"
                                 " --rate 30000/1001 --audio-rate 44100 --channels 6 --frames 64"
                                 " --mode 0644 --group video --stats --no-audio /dev/video0"));
    QCOMPARE(options.name, std::string("cam"));
    QCOMPARE(options.inputFormat, std::string("v4l2"));
    QCOMPARE(options.duration, int64_t(1500000));
    QCOMPARE(options.width, 640);
    QCOMPARE(options.height, 360);
    QCOMPARE(options.rate.num, 30000);
    QCOMPARE(options.rate.den, 1001);
    QCOMPARE(options.audioRate, 44100);
    QCOMPARE(options.channels, 6);
    QCOMPARE(options.frames, 64);
    QCOMPARE(options.mode, mode_t(0644));
    QCOMPARE(options.group, std::string("video"));
    QCOMPARE(options.input, std::string("/dev/video0"));
    QVERIFY(options.loop && options.stats && options.video && !options.audio);
}

void PublishOptionsTest::valueAfterEqualsSign_isTakenOver()
{
    QCOMPARE(optionsOf(QStringLiteral("--name=a=b")).name, std::string("a=b"));
}

void PublishOptionsTest::inputOptions_keepTheirOrder()
{
    Options const options =
        optionsOf(QStringLiteral("--input-option a=1 --input-option b=c=d file"));
    QCOMPARE(options.inputOptions.size(), size_t(2));
    QCOMPARE(options.inputOptions[0], std::make_pair(std::string("a"), std::string("1")));
    QCOMPARE(options.inputOptions[1], std::make_pair(std::string("b"), std::string("c=d")));
}

void PublishOptionsTest::doubleDash_endsTheOptions()
{
    QCOMPARE(optionsOf(QStringLiteral("-- --loop")).input, std::string("--loop"));
}

void PublishOptionsTest::dash_isAnInput()
{
    QCOMPARE(optionsOf(QStringLiteral("-")).input, std::string("-"));
}

void PublishOptionsTest::help_winsOverLaterMistakes()
{
    QCOMPARE(parse(QStringLiteral("--help --nonsense")).action, CommandLine::Action::Help);
}

void PublishOptionsTest::version_isAnAction()
{
    QCOMPARE(parse(QStringLiteral("--version")).action, CommandLine::Action::Version);
}

void PublishOptionsTest::rate_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("num");
    QTest::addColumn<int>("den");

    QTest::newRow("whole") << QStringLiteral("25") << 25 << 1;
    QTest::newRow("fraction") << QStringLiteral("30000/1001") << 30000 << 1001;
    QTest::newRow("fraction to be reduced") << QStringLiteral("50/2") << 25 << 1;
    QTest::newRow("23.976") << QStringLiteral("23.976") << 24000 << 1001;
    QTest::newRow("23.98") << QStringLiteral("23.98") << 24000 << 1001;
    QTest::newRow("29.97") << QStringLiteral("29.97") << 30000 << 1001;
    QTest::newRow("59.94") << QStringLiteral("59.94") << 60000 << 1001;
    QTest::newRow("119.88") << QStringLiteral("119.88") << 120000 << 1001;
    QTest::newRow("plain decimal") << QStringLiteral("12.5") << 25 << 2;
    QTest::newRow("decimal that is whole") << QStringLiteral("30.0") << 30 << 1;
    QTest::newRow("slow") << QStringLiteral("0.1") << 1 << 10;
    QTest::newRow("fastest") << QStringLiteral("1000") << 1000 << 1;
    for (char const* const text : {"", "x", "0", "-25", "1001", "1001/1", "25/0", "/2", "25/",
             "0/1", "25fps", " 25", "2147483648/1", "nan", "inf"})
        QTest::newRow(text) << QString::fromLatin1(text) << 0 << 0;
}

void PublishOptionsTest::rate()
{
    QFETCH(QString, text);
    QFETCH(int, num);
    QFETCH(int, den);
    AVRational rate = {0, 0};
    QCOMPARE(parseRate(text.toStdString(), rate), num != 0);
    if (num) {
        QCOMPARE(rate.num, num);
        QCOMPARE(rate.den, den);
    }
}

void PublishOptionsTest::refusal_saysWhatWasWrong_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("error");
    auto const row = [](char const* line, char const* error) {
        QTest::newRow(line) << QString::fromLatin1(line) << QString::fromLatin1(error);
    };
    row("--nonsense", "unknown option '--nonsense'");
    row("-x", "unknown option '-x'");
    row("--nonsense=1", "unknown option '--nonsense'");
    row("--name", "option '--name' needs a value");
    row("--name=", "bad value '' for --name NAME");
    row("--loop=yes", "option '--loop' takes no value");
    row("a b", "more than one INPUT: 'b'");
    row("--size 640", "bad value '640' for --size WxH");
    row("--size 640x", "bad value '640x' for --size WxH");
    row("--size 640x360x2", "bad value '640x360x2' for --size WxH");
    row("--size 8x360", "bad value '8x360' for --size WxH");
    row("--size 16385x360", "bad value '16385x360' for --size WxH");
    row("--rate 0", "bad value '0' for --rate FPS");
    row("--audio-rate 7999", "bad value '7999' for --audio-rate HZ");
    row("--audio-rate 384001", "bad value '384001' for --audio-rate HZ");
    row("--channels 0", "bad value '0' for --channels N");
    row("--channels 65", "bad value '65' for --channels N");
    row("--frames 1", "bad value '1' for --frames N");
    row("--frames 65", "bad value '65' for --frames N");
    row("--duration 0", "bad value '0' for --duration SECONDS");
    row("--duration -1", "bad value '-1' for --duration SECONDS");
    row("--duration nan", "bad value 'nan' for --duration SECONDS");
    row("--mode 0888", "bad value '0888' for --mode OCTAL");
    row("--mode 1000", "bad value '1000' for --mode OCTAL");
    row("--mode -7", "bad value '-7' for --mode OCTAL");
    row("--input-option =1 x", "bad value '=1' for --input-option KEY=VALUE");
    row("--input-option 1 x", "bad value '1' for --input-option KEY=VALUE");
    row("--no-video --no-audio", "--no-video and --no-audio together leave nothing to publish");
    row("--format alsa", "--format and --input-option need an INPUT");
    row("--input-option a=1", "--format and --input-option need an INPUT");
}

void PublishOptionsTest::refusal_saysWhatWasWrong()
{
    QFETCH(QString, line);
    QFETCH(QString, error);
    CommandLine const parsed = parse(line);
    QCOMPARE(parsed.action, CommandLine::Action::Refuse);
    QCOMPARE(QString::fromStdString(parsed.error), error);
}

void PublishOptionsTest::emptyInput_isRefused()
{
    CommandLine const parsed = parseCommandLine({std::string()});
    QCOMPARE(parsed.action, CommandLine::Action::Refuse);
    QCOMPARE(parsed.error, std::string("INPUT is empty"));
}

void PublishOptionsTest::usage_andManualPage_nameTheSameOptions()
{
    QStringList const inUsage = namesIn(QString::fromStdString(usage()), "^  (--[a-z-]+)");
    QVERIFY(inUsage.size() > 10);
    QCOMPARE(namesIn(manualPage(), "^\\.B[IR]? (--[a-z-]+)"), inUsage);
}

QVORLIN_TEST_MAIN(QCoreApplication, PublishOptionsTest)

#include "tst_publishoptions.moc"
