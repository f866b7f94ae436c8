// The store between processes, some of which are killed.

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <new>

#include <sys/file.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include "messagecheck.h"
#include "storetraffic.h"
#include "system/sysinfo.h"
#include "teststore.h"

namespace {

constexpr char key[] = "shared/value";
constexpr uint32_t operations = 10000; // of each worker

// The board is seen by this process and by those that it starts.
class SharedBoard
{
public:
    SharedBoard()
        : mMemory(mmap(nullptr, sizeof(storetraffic::Board), PROT_READ | PROT_WRITE,
              MAP_SHARED | MAP_ANONYMOUS, -1, 0))
        , mBoard(new (mMemory) storetraffic::Board())
    {}
    ~SharedBoard() { munmap(mMemory, sizeof(storetraffic::Board)); }
    SharedBoard(SharedBoard const&) = delete;
    SharedBoard& operator=(SharedBoard const&) = delete;

    storetraffic::Board* operator->() { return mBoard; }
    storetraffic::Board& operator*() { return *mBoard; }

private:
    void* mMemory;
    storetraffic::Board* mBoard;
};

/** A process that ends with this one at the latest. */
pid_t start(std::function<int()> const& body)
{
    const pid_t child = fork();
    if (child != 0)
        return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    _exit(body());
}

pid_t startWorker(storetraffic::Board& board, int worker, uint32_t end)
{
    return start([&board, worker, end] { return storetraffic::work(board, key, worker, end); });
}

/** Kills it; when it wrote just then, its value may be torn. */
void killWorker(storetraffic::Board& board, int worker, pid_t pid)
{
    ++board.kills;
    board.victim = worker;
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    if (const uint32_t number = board.writing[worker]) {
        storetraffic::Torn& torn = board.torn[board.writersKilled];
        torn.worker = uint32_t(worker);
        torn.number = number;
        ++board.writersKilled;
        board.writing[worker] = 0;
        // Its number is spent.
        board.next[worker] = number + 1;
    }
    board.victim = -1;
}

/** Whether a lock on the file is free within ten seconds. */
bool becomesFree(QString const& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) &&
           QTest::qWaitFor([&file] { return flock(file.handle(), LOCK_EX | LOCK_NB) == 0; }, 10000);
}

} // namespace

class SysInfoProcessesTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void killedReader_keepsNoLock();
    void killedWriter_keepsNoLockAndItsValueCanBeReplaced();
    void closedByWriter_isFreeWhileItsChildLives();
    void interruptedWait_fails();
    void eightProcesses_neverSeeAMixedValue();
    void eightProcessesSomeKilled_neverSeeAMixedValueAndNeverHang();

private:
    // In memory where that can be had: the disk is not what is tested.
    TestStore mStore{QFileInfo(QStringLiteral("/dev/shm")).isWritable() ? QStringLiteral("/dev/shm")
                                                                        : QString()};
};

void SysInfoProcessesTest::initTestCase()
{
    QVERIFY(mStore.isValid());
    QCOMPARE(sysinfo_set_string("host", "name"), 1);
}

void SysInfoProcessesTest::killedReader_keepsNoLock()
{
    SharedBoard board;
    const pid_t child = start([&board] {
        FILE* stream = sysinfo_open_read("host");
        board->whole = stream != nullptr;
        return pause();
    });
    QVERIFY(QTest::qWaitFor([&board] { return board->whole == 1; }, 10000));
    QFile file(QStringLiteral("store/host"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(flock(file.handle(), LOCK_EX | LOCK_NB), -1);

    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    QVERIFY(becomesFree(QStringLiteral("store/host")));
    QCOMPARE(sysinfo::get_string("host", "default"), std::string("name"));
}

void SysInfoProcessesTest::killedWriter_keepsNoLockAndItsValueCanBeReplaced()
{
    SharedBoard board;
    const pid_t child = start([&board] {
        FILE* stream = sysinfo_open_write("host");
        std::fputs("half", stream);
        std::fflush(stream);
        board->whole = 1;
        return pause();
    });
    QVERIFY(QTest::qWaitFor([&board] { return board->whole == 1; }, 10000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    QVERIFY(becomesFree(QStringLiteral("store/host")));
    QCOMPARE(sysinfo::get_string("host", "default"), std::string("half"));
    QCOMPARE(sysinfo_set_string("host", "name"), 1);
    QCOMPARE(sysinfo::get_string("host", "default"), std::string("name"));
}

void SysInfoProcessesTest::closedByWriter_isFreeWhileItsChildLives()
{
    // A copy of the process has the file open as well.
    FILE* stream = sysinfo_open_write("host");
    QVERIFY(stream);
    const pid_t child = start([] { return pause(); });
    std::fputs("name", stream);
    QCOMPARE(sysinfo_close(stream), 0);
    QVERIFY(becomesFree(QStringLiteral("store/host")));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

void SysInfoProcessesTest::interruptedWait_fails()
{
    FILE* stream = sysinfo_open_read("host");
    QVERIFY(stream);
    SharedBoard board;
    const pid_t child = start([&board] {
        struct sigaction action = {};
        action.sa_handler = [](int) {
        };
        sigaction(SIGUSR1, &action, nullptr);
        board->whole = 1;
        return sysinfo_open_read("host") ? 1 : errno == EINTR ? 7 : 2;
    });
    QVERIFY(QTest::qWaitFor([&board] { return board->whole == 1; }, 10000));
    int status = 0;
    // Until it waits, the signal comes too early.
    QVERIFY(QTest::qWaitFor(
        [&] {
            kill(child, SIGUSR1);
            return waitpid(child, &status, WNOHANG) == child;
        },
        10000));
    QCOMPARE(sysinfo_close(stream), 0);
    QVERIFY(WIFEXITED(status));
    QCOMPARE(WEXITSTATUS(status), 7);
}

void SysInfoProcessesTest::eightProcesses_neverSeeAMixedValue()
{
    SharedBoard board;
    QCOMPARE(sysinfo_set_string(key, "b"), 1);
    std::vector<pid_t> pids;
    for (int worker = 0; worker < storetraffic::workers; ++worker) {
        board->next[worker] = 1;
        pids.push_back(startWorker(*board, worker, 1 + operations / 10));
    }
    for (pid_t pid : pids) {
        int status = -1;
        waitpid(pid, &status, 0);
        QVERIFY2(status == 0, board->fault);
    }
    // Without a death not even an empty one.
    QCOMPARE(board->tornSeen.load(), 0u);
    QVERIFY(board->whole > 0u);
}

void SysInfoProcessesTest::eightProcessesSomeKilled_neverSeeAMixedValueAndNeverHang()
{
    SharedBoard board;
    QCOMPARE(sysinfo_set_string(key, "b"), 1);
    const uint32_t end = 1 + operations;
    std::vector<pid_t> pids;
    for (int worker = 0; worker < storetraffic::workers; ++worker) {
        board->next[worker] = 1;
        pids.push_back(startWorker(*board, worker, end));
    }
    std::mt19937 random(20);
    QElapsedTimer sinceKill;
    sinceKill.start();
    size_t running = pids.size();
    while (running > 0) {
        for (size_t i = 0; i < pids.size(); ++i) {
            int status = -1;
            if (pids[i] == 0 || waitpid(pids[i], &status, WNOHANG) != pids[i])
                continue;
            QVERIFY2(status == 0, board->fault);
            QCOMPARE(board->next[i].load(), end);
            pids[i] = 0;
            --running;
        }
        const size_t victim = random() % pids.size();
        if (sinceKill.elapsed() > 20 && board->kills < storetraffic::maximumKills &&
            pids[victim] != 0) {
            // Mostly over a value, which is a short time of its life.
            for (int i = 0; i < 1000 && random() % 8 && board->writing[victim] == 0; ++i)
                usleep(20);
            killWorker(*board, int(victim), pids[victim]);
            pids[victim] = startWorker(*board, int(victim), end);
            sinceKill.restart();
        }
        usleep(2000);
    }
    qInfo("%u killed, %u of them writing; %u whole values seen, %u torn by a death",
        board->kills.load(), board->writersKilled.load(), board->whole.load(),
        board->tornSeen.load());
    QVERIFY(board->writersKilled > 0u);
    QVERIFY(becomesFree(QStringLiteral("store/") + QString::fromLatin1(key)));
}

QVORLIN_TEST_MAIN(QCoreApplication, SysInfoProcessesTest)

#include "tst_sysinfoprocesses.moc"
