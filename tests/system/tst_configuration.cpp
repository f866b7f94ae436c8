#include "system/configuration.h"

#include <QTest>

#include "fakelogger.h"
#include "messagecheck.h"
#include "programfolder.h"
#include "textliteral.h"

namespace {

using Calls = QVector<QStringList>;

QString const configdb = "configdb"_s;
QString const saveconfig = "saveconfig"_s;

ConfigValue setting(char const* section, char const* key, char const* value)
{
    return {QString::fromUtf8(section), QString::fromUtf8(key), QString::fromUtf8(value)};
}

} // namespace

class ConfigurationTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        mPrograms.addScript(configdb, "note \"$@\"");
        mPrograms.addScript(saveconfig, "note \"$@\"");
        fakelogger::takeCalls();
    }

    void cleanup() { mPrograms.takeCalls(); }

    void configValue_isSectionKeyValue()
    {
        ConfigValue const entry{"section"_s, "key"_s, "value"_s};
        QCOMPARE(entry.section, "section"_s);
        QCOMPARE(entry.key, "key"_s);
        QCOMPARE(entry.value, "value"_s);
    }

    void threeValues_areSetInOrderAndSavedOnce()
    {
        QVERIFY(saveConfiguration({setting("net", "hostname", "camera-1"),
                                      setting("video", "mode", "1080p"), setting("a", "b", "c")},
            QString()));
        QCOMPARE(
            mPrograms.takeCalls(), (Calls{
                                       {configdb, "set"_s, "net"_s, "hostname"_s, "camera-1"_s},
                                       {configdb, "set"_s, "video"_s, "mode"_s, "1080p"_s},
                                       {configdb, "set"_s, "a"_s, "b"_s, "c"_s},
                                       {saveconfig},
                                   }));
    }

    void emptyList_runsNothing_data()
    {
        QTest::addColumn<QString>("directory");
        QTest::newRow("without a directory") << QString();
        QTest::newRow("with a directory") << "/etc/site"_s;
    }

    void emptyList_runsNothing()
    {
        QFETCH(QString, directory);
        QVERIFY(saveConfiguration({}, directory));
        QCOMPARE(mPrograms.takeCalls(), Calls());
        QCOMPARE(fakelogger::takeCalls(), QStringList());
    }

    void directory_isPassedUnlessEmpty_data()
    {
        QTest::addColumn<QString>("directory");
        QTest::addColumn<QStringList>("call");
        QTest::newRow("null") << QString() << QStringList{saveconfig};
        QTest::newRow("empty") << ""_s << QStringList{saveconfig};
        QTest::newRow("a directory")
            << "/etc/site"_s << QStringList{saveconfig, "-d"_s, "/etc/site"_s};
        QTest::newRow("with spaces")
            << "my site/$HOME "_s << QStringList{saveconfig, "-d"_s, "my site/$HOME "_s};
    }

    void directory_isPassedUnlessEmpty()
    {
        QFETCH(QString, directory);
        QFETCH(QStringList, call);
        QVERIFY(saveConfiguration({setting("a", "b", "c")}, directory));
        QCOMPARE(mPrograms.takeCalls(), (Calls{{configdb, "set"_s, "a"_s, "b"_s, "c"_s}, call}));
    }

    void oddTexts_areOneArgumentEach()
    {
        QVERIFY(saveConfiguration(
            {setting("", "", ""), setting("-s", "my key", "two lines\nwith \"quotes\" and %1")},
            QString()));
        QCOMPARE(mPrograms.takeCalls(),
            (Calls{
                {configdb, "set"_s, ""_s, ""_s, ""_s},
                {configdb, "set"_s, "-s"_s, "my key"_s, "two lines\nwith \"quotes\" and %1"_s},
                {saveconfig},
            }));
    }

    void failingPrograms_areNotNoticed()
    {
        mPrograms.addScript(configdb, "note \"$@\"; echo error; echo error >&2; exit 1");
        mPrograms.addScript(saveconfig, "note \"$@\"; kill -KILL $$");
        QVERIFY(saveConfiguration({setting("a", "b", "c"), setting("d", "e", "f")}, QString()));
        QCOMPARE(mPrograms.takeCalls(), (Calls{
                                            {configdb, "set"_s, "a"_s, "b"_s, "c"_s},
                                            {configdb, "set"_s, "d"_s, "e"_s, "f"_s},
                                            {saveconfig},
                                        }));
    }

    void missingPrograms_areNotNoticed()
    {
        QVERIFY(QFile::remove(mPrograms.path(configdb)));
        QVERIFY(saveConfiguration({setting("a", "b", "c")}, QString()));
        QCOMPARE(mPrograms.takeCalls(), (Calls{{saveconfig}}));

        QVERIFY(QFile::remove(mPrograms.path(saveconfig)));
        QVERIFY(saveConfiguration({setting("a", "b", "c")}, QString()));
        QCOMPARE(mPrograms.takeCalls(), Calls());
    }

    void eachValue_isLoggedAtDebug()
    {
        saveConfiguration(
            {setting("net", "hostname", "camera-1"), setting("", "größe", "50 %s\n")}, QString());
        QCOMPARE(fakelogger::takeCalls(),
            (QStringList{
                "debug: Section: 'net'\nKey: 'hostname'\nValue: 'camera-1'"_s,
                "debug: Section: ''\nKey: 'größe'\nValue: '50 %s\n'"_s,
            }));
    }

private:
    ProgramFolder mPrograms;
};

QVORLIN_TEST_MAIN(QCoreApplication, ConfigurationTest)

#include "tst_configuration.moc"
