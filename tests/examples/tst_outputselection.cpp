#include "outputselection.h"

#include <cstdio>

#include <QTest>

#include "capturedoutput.h"
#include "extdisplay/extdisplay.h"
#include "extdisplay/stockplugin.h"
#include "messagecheck.h"
#include "options.h"

namespace {

QStringList calls;
bool selectable = true;
bool adaptable = true;

} // namespace

extdisplay::OutputInfo extdisplay::setEGLFSKMSOutput(
    QString output, QString mode, QSize size, bool requireConnected)
{
    calls.append(QStringLiteral("select %1 '%2' %3 %4")
                     .arg(output, mode)
                     .arg(size.isEmpty())
                     .arg(requireConnected));
    return selectable ? OutputInfo(output, output, QString()) : OutputInfo();
}

bool extdisplay::adaptConfigForStockPlugin()
{
    calls.append(QStringLiteral("adapt"));
    return adaptable;
}

class TestOutputSelection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void noOutput_leavesAllAlone();
    void output_isSelectedForStockQt();
    void withoutMode_theDisplayChooses();
    void unselectableOutput_isNamedInOneLine();
    void unwritableConfiguration_isToldInOneLine();

private:
    static QByteArray select(char const* output, char const* mode, bool wanted)
    {
        Options options;
        options.output = QString::fromLatin1(output);
        options.mode = QString::fromLatin1(mode);
        CapturedOutput errors(2);
        bool const selected = selectOutput(options);
        std::fflush(stderr);
        return selected == wanted ? errors.text() : QByteArray("another result");
    }
};

void TestOutputSelection::init()
{
    calls.clear();
    selectable = true;
    adaptable = true;
}

void TestOutputSelection::noOutput_leavesAllAlone()
{
    QCOMPARE(select("", "", true), QByteArray());
    QCOMPARE(calls, QStringList());
}

void TestOutputSelection::output_isSelectedForStockQt()
{
    QCOMPARE(select("HDMI1", "1920x1080", true), QByteArray());
    QCOMPARE(calls,
        (QStringList{QStringLiteral("select HDMI1 '1920x1080' 1 1"), QStringLiteral("adapt")}));
}

void TestOutputSelection::withoutMode_theDisplayChooses()
{
    QCOMPARE(select("DP1", "", true), QByteArray());
    QCOMPARE(calls.first(), QStringLiteral("select DP1 '' 1 1"));
}

void TestOutputSelection::unselectableOutput_isNamedInOneLine()
{
    selectable = false;
    QCOMPARE(select("VGA1", "", false),
        QByteArray("live-viewer: can't select the output VGA1: there is no such output, or no "
                   "display is plugged in\n"));
    QCOMPARE(calls.size(), 1);
}

void TestOutputSelection::unwritableConfiguration_isToldInOneLine()
{
    adaptable = false;
    QCOMPARE(select("VGA1", "", false),
        QByteArray("live-viewer: can't select the output VGA1: the platform's configuration can't "
                   "be written\n"));
}

QVORLIN_TEST_MAIN(QCoreApplication, TestOutputSelection)
#include "tst_outputselection.moc"
