#include "messagecheck.h"
#include "shmpicture.h"
#include "shmtest.h"

#include <vector>

#include <signal.h>

#include <QCoreApplication>
#include <QTest>

using namespace shmtest;

class SyscallsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void sandbox_killsAtASystemCall();
    void hotPath_makesNoSystemCall();
    void cleanupTestCase();

private:
    std::unique_ptr<Place> mPlace;
    Writer mWriter;
};

void SyscallsTest::initTestCase()
{
    mPlace = std::make_unique<Place>();
    shm_writer_config_t config = videoConfig("cam1");
    config.audio_sample_rate = 48000;
    config.audio_channels = 2;
    mWriter = openWriter(config);
    QVERIFY(mWriter);
    for (int64_t i = 0; i < 4; ++i)
        QVERIFY(shmpicture::publish(mWriter.get(), 1000000 + i * 40000, 1));
    std::vector<int16_t> const samples(2 * 48000, 1);
    QCOMPARE(shm_writer_append_audio(mWriter.get(), samples.data(), 48000, 1000000), 0);
}

void SyscallsTest::cleanupTestCase()
{
    mWriter.reset();
    mPlace.reset();
}

void SyscallsTest::sandbox_killsAtASystemCall()
{
    // Asking the kernel whether the writer lives is a system call: the sandbox works.
    Peer peer({QStringLiteral("sandboxed"), QStringLiteral("cam1"), QStringLiteral("is_ready")});
    QCOMPARE(peer.waitForEnd(), -1);
    QCOMPARE(peer.terminatingSignal(), SIGSYS);
}

void SyscallsTest::hotPath_makesNoSystemCall()
{
    Peer peer({QStringLiteral("sandboxed"), QStringLiteral("cam1"), QStringLiteral("all")});
    QCOMPARE(peer.waitForEnd(), 0);
}

QVORLIN_TEST_MAIN(QCoreApplication, SyscallsTest)

#include "tst_syscalls.moc"
