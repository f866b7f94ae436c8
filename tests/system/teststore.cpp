#include "teststore.h"

#include <cerrno>
#include <cstring>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QFile>

TestStore::TestStore(QString const& parent)
    : mPlace((parent.isEmpty() ? QDir::tempPath() : parent) + QStringLiteral("/tst_store.XXXXXX"))
{
    // Other users come here as well.
    chmod(QFile::encodeName(mPlace.path()).constData(), 0755);
    QDir::setCurrent(mPlace.path());
    qputenv("SYSINFO_PROFILE", "store");
}

TestStore::~TestStore()
{
    QDir::setCurrent(QDir::rootPath());
}

QByteArray teststore::content(QString const& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QByteArray("") + file.readAll() : QByteArray();
}

bool teststore::put(QString const& path, QByteArray const& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

int teststore::mode(QString const& path)
{
    struct stat status;
    return lstat(QFile::encodeName(path).constData(), &status) == 0 ? int(status.st_mode & 07777)
                                                                    : -1;
}

QByteArray teststore::inChild(std::function<QByteArray()> const& body)
{
    int ends[2];
    if (pipe(ends) != 0)
        return "no pipe";
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        const QByteArray result = body();
        _exit(write(ends[1], result.constData(), size_t(result.size())) == result.size() ? 0 : 1);
    }
    close(ends[1]);
    QByteArray result;
    char buffer[4096];
    ssize_t count;
    while ((count = read(ends[0], buffer, sizeof buffer)) > 0)
        result.append(buffer, int(count));
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status))
        return "killed " + QByteArray::number(WTERMSIG(status));
    return WEXITSTATUS(status) == 0 ? result : "status " + QByteArray::number(WEXITSTATUS(status));
}

bool teststore::becomeNobody()
{
    constexpr uid_t nobody = 65534;
    return geteuid() != 0 || (setgid(nobody) == 0 && setuid(nobody) == 0);
}

QByteArray teststore::mountPrivately(QByteArray const& path, QByteArray const& options)
{
    if (unshare(CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", path.constData(), "tmpfs", 0, options.constData()) != 0)
        return QByteArray("can't mount a file system here: ").append(std::strerror(errno));
    return QByteArray();
}
