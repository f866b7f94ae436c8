#ifndef PROGRAMFOLDER_H
#define PROGRAMFOLDER_H

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>

/** A folder of the test's own programs, first on the PATH for as long as it lives. */
class ProgramFolder
{
public:
    ProgramFolder();
    ~ProgramFolder();
    Q_DISABLE_COPY(ProgramFolder)

    /**
     * Adds a shell script of these commands. They find the folder in "$here" and write down their
     * own name and their arguments with: note "$@"
     */
    void addScript(QString const& name, QByteArray const& commands);

    void addFile(QString const& name, QByteArray const& content);
    QByteArray file(QString const& name) const;
    QString path(QString const& name) const { return mFolder.filePath(name); }

    /** What was noted since the last time: a list for each call, the program's name at its head. */
    QVector<QStringList> takeCalls();

private:
    QTemporaryDir mFolder;
    QByteArray mFormerPath;
};

#endif
