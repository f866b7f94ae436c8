#ifndef TESTSTORE_H
#define TESTSTORE_H

#include <functional>

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

/**
 * A store of the test's own: the directory "store" in a new current directory, which is also what
 * its path is relative to. An absolute root would have its parents' modes changed up to "/".
 */
class TestStore
{
public:
    /** @param parent where the current directory is made; empty: among the temporary files */
    explicit TestStore(QString const& parent = QString());
    ~TestStore();
    TestStore(TestStore const&) = delete;
    TestStore& operator=(TestStore const&) = delete;

    bool isValid() const { return mPlace.isValid(); }

private:
    QTemporaryDir mPlace;
};

namespace teststore {

/** What a file holds; null when there is none. */
QByteArray content(QString const& path);

/** Makes a file; its directory must be there. */
bool put(QString const& path, QByteArray const& content);

/** The mode of a file or directory; -1 when there is none. */
int mode(QString const& path);

/**
 * Runs @p body in a copy of this process and gives back what it returned; "killed" or "status" with
 * a number when the copy ended otherwise. This process must have no other thread.
 */
QByteArray inChild(std::function<QByteArray()> const& body);

/** Takes root's rights from this process for good. */
bool becomeNobody();

/**
 * Mounts an empty file system in memory on @p path that this process alone sees.
 * @return why that can't be had; empty when it was
 */
QByteArray mountPrivately(QByteArray const& path, QByteArray const& options);

} // namespace teststore

#endif
