#ifndef SHMTEST_H
#define SHMTEST_H

#include "shmhandles.h"

#include <QByteArray>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

namespace shmtest {

/** A place for streams that only this test and its helpers use, removed in the end. */
class Place
{
public:
    Place();
    ~Place();

    QString path() const { return mDirectory.path(); }
    /** Names of all files, sorted. */
    QStringList files() const;
    /** Path of the one file whose name ends in @p ending. */
    QByteArray fileEndingIn(QString const& ending) const;

private:
    QTemporaryDir mDirectory;
};

/** A small picture, 4 frames and 4 spare slots, 25 frames a second. */
shm_writer_config_t videoConfig(char const* name);
/** Two channels at 48 kHz. */
shm_writer_config_t audioConfig(char const* name);

/** What shm_writer_open() says when it refuses; empty when it doesn't. */
QByteArray refusal(shm_writer_config_t const& config);

/** A frame record that asks for @p timestamp. */
shm_video_frame_t request(int64_t timestamp);

/** Locks and unlocks: the timestamp found, or -1. */
int64_t timestampFound(shm_reader_t* reader, int64_t timestamp, shm_video_lookup_mode_t mode);

shm_video_status_t videoStatus(shm_reader_t* reader);
shm_audio_status_t audioStatus(shm_reader_t* reader);
shm_writer_statistics_t statistics(shm_writer_t* writer);

/** A process of the helper program shm_peer, killed in the end. */
class Peer
{
public:
    explicit Peer(QStringList const& arguments);
    ~Peer();

    /** The next line of its output, without its end; null when none comes within @p timeout ms. */
    QByteArray readLine(int timeout = 20000);
    void kill();
    /** Waits for its end; its exit code, or -1 when a signal ended it. */
    int waitForEnd(int timeout = 60000);
    int terminatingSignal() const { return mSignal; }
    QProcess& process() { return mProcess; }

private:
    QProcess mProcess;
    int mSignal = 0;
};

} // namespace shmtest

#endif
