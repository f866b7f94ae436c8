#include "utils/shmemvideobuffer.h"

#include "qvorlinassert.h"

namespace {

constexpr char Source[] = "utils/shmemvideobuffer";

// In unsigned arithmetic, so that no size that a stream states can overflow.
quint32 planesByteCount(shm_video_frame_t const& frame)
{
    quint32 const height = static_cast<quint32>(frame.height);
    quint32 const luma = height * static_cast<quint32>(frame.stride0);
    quint32 const cb = (height * static_cast<quint32>(frame.stride1)) >> 1;
    quint32 const cr = (height * static_cast<quint32>(frame.stride2)) >> 1;
    return luma + cb + cr;
}

} // namespace

ShmemVideoBuffer::ShmemVideoBuffer(
    QSharedPointer<shm_reader_t> const& reader, qint64 timestamp, shm_video_lookup_mode_t mode)
    : QAbstractPlanarVideoBuffer(NoHandle)
    , mReader(reader)
{
    mFrame.timestamp = timestamp;
    shm_reader_lock_video(mReader.data(), &mFrame, mode);
}

ShmemVideoBuffer::ShmemVideoBuffer(QSharedPointer<shm_reader_t> const& reader, qint64 timestamp)
    : ShmemVideoBuffer(reader, timestamp,
          timestamp == 0 ? SHM_VIDEO_LOOKUP_LATEST : SHM_VIDEO_LOOKUP_BY_TIMESTAMP)
{}

ShmemVideoBuffer::~ShmemVideoBuffer()
{
    if (mFrame.plane0)
        shm_reader_unlock_video(mReader.data(), &mFrame);
}

QAbstractVideoBuffer::MapMode ShmemVideoBuffer::mapMode() const
{
    return mMapMode;
}

int ShmemVideoBuffer::map(MapMode mode, int* numBytes, int bytesPerLine[4], uchar* data[4])
{
    // Other programs read the same memory, so nobody may write it.
    QVORLIN_ASSERT(
        mode == QAbstractVideoBuffer::ReadOnly, "mode == QAbstractVideoBuffer::ReadOnly", Source);
    QVORLIN_ASSERT(mMapMode == NotMapped, "mMapMode == NotMapped", Source);
    if (!mFrame.plane0)
        return 0;

    mMapMode = ReadOnly;
    data[0] = mFrame.plane0;
    data[1] = mFrame.plane1;
    data[2] = mFrame.plane2;
    bytesPerLine[0] = mFrame.stride0;
    bytesPerLine[1] = mFrame.stride1;
    bytesPerLine[2] = mFrame.stride2;
    if (numBytes)
        *numBytes = static_cast<int>(planesByteCount(mFrame));
    return 3;
}

void ShmemVideoBuffer::unmap()
{
    QVORLIN_ASSERT(mMapMode == QAbstractVideoBuffer::ReadOnly,
        "mMapMode == QAbstractVideoBuffer::ReadOnly", Source);
    mMapMode = NotMapped;
}
