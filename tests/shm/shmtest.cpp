#include "shmtest.h"

#include <QCoreApplication>
#include <QDir>

namespace shmtest {

Place::Place()
    : mDirectory(QStringLiteral("/dev/shm/qvorlin-test-XXXXXX"))
{
    qputenv("QVORLIN_SHM_DIR", QFile::encodeName(mDirectory.path()));
}

Place::~Place()
{
    qunsetenv("QVORLIN_SHM_DIR");
}

QStringList Place::files() const
{
    return QDir(mDirectory.path()).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
}

QByteArray Place::fileEndingIn(QString const& ending) const
{
    for (QString const& name : files()) {
        if (name.endsWith(ending))
            return QFile::encodeName(mDirectory.filePath(name));
    }
    return QByteArray();
}

shm_writer_config_t videoConfig(char const* name)
{
    shm_writer_config_t config;
    shm_writer_config_init(&config);
    config.name = name;
    config.video_width = 66;
    config.video_height = 34;
    config.video_frame_count = 4;
    config.video_spare_count = 4;
    config.frame_rate_num = 25;
    config.frame_rate_den = 1;
    return config;
}

shm_writer_config_t audioConfig(char const* name)
{
    shm_writer_config_t config;
    shm_writer_config_init(&config);
    config.name = name;
    config.audio_sample_rate = 48000;
    config.audio_channels = 2;
    return config;
}

QByteArray refusal(shm_writer_config_t const& config)
{
    char error[256] = "";
    Writer const writer(shm_writer_open(&config, error, sizeof error));
    return QByteArray(error);
}

shm_video_frame_t request(int64_t timestamp)
{
    shm_video_frame_t frame = {};
    frame.timestamp = timestamp;
    return frame;
}

int64_t timestampFound(shm_reader_t* reader, int64_t timestamp, shm_video_lookup_mode_t mode)
{
    shm_video_frame_t frame = request(timestamp);
    if (shm_reader_lock_video(reader, &frame, mode) != 0)
        return -1;
    int64_t const found = frame.timestamp;
    shm_reader_unlock_video(reader, &frame);
    return found;
}

shm_video_status_t videoStatus(shm_reader_t* reader)
{
    shm_video_status_t status = {};
    shm_reader_get_video_status(reader, &status);
    return status;
}

shm_audio_status_t audioStatus(shm_reader_t* reader)
{
    shm_audio_status_t status = {};
    shm_reader_get_audio_status(reader, SHM_AUDIO_STRICT, &status);
    return status;
}

shm_writer_statistics_t statistics(shm_writer_t* writer)
{
    shm_writer_statistics_t values = {};
    shm_writer_get_statistics(writer, &values);
    return values;
}

Peer::Peer(QStringList const& arguments)
{
    mProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    mProcess.start(QCoreApplication::applicationDirPath() + QStringLiteral("/shm_peer"), arguments);
    mProcess.waitForStarted();
}

Peer::~Peer()
{
    kill();
}

QByteArray Peer::readLine(int timeout)
{
    while (!mProcess.canReadLine()) {
        if (!mProcess.waitForReadyRead(timeout) && !mProcess.canReadLine())
            return QByteArray();
    }
    return mProcess.readLine().trimmed();
}

void Peer::kill()
{
    mProcess.kill();
    mProcess.waitForFinished();
}

int Peer::waitForEnd(int timeout)
{
    if (mProcess.state() != QProcess::NotRunning && !mProcess.waitForFinished(timeout))
        return -2;
    if (mProcess.exitStatus() == QProcess::CrashExit) {
        // QProcess gives the number of the signal as the exit code.
        mSignal = mProcess.exitCode();
        return -1;
    }
    return mProcess.exitCode();
}

} // namespace shmtest
