#ifndef STREAMPLACE_H
#define STREAMPLACE_H

#include <QTemporaryDir>

/** A place for streams that this test and the programs it starts have for themselves. */
class StreamPlace
{
public:
    StreamPlace()
        : mDirectory(QStringLiteral("/dev/shm/qvorlin-test-XXXXXX"))
    {
        qputenv("QVORLIN_SHM_DIR", mDirectory.path().toLocal8Bit());
    }

private:
    QTemporaryDir mDirectory;
};

#endif
