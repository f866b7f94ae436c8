#ifndef SHMEMVIDEOBUFFER_H
#define SHMEMVIDEOBUFFER_H

#include <QAbstractPlanarVideoBuffer>
#include <QSharedPointer>
#include <QSize>

#include "qvorlinexport.h"
#include "shm_reader.h"

/**
 * One video frame (planar YUV 4:2:0) locked in a shared-memory stream, for use in a QVideoFrame.
 *
 * No pixel is copied: mapping hands out pointers into the stream, which are valid for as long as
 * the buffer lives, and the stream keeps the frame's slot out of use until then. The buffer shares
 * the stream's handle, so it outlives the reader that made it.
 *
 * Reentrant: one thread at a time. The destructor may run on any thread.
 */
class QVORLIN_EXPORT ShmemVideoBuffer : public QAbstractPlanarVideoBuffer
{
public:
    /**
     * Locks the frame that @p mode finds for @p timestamp (µs of the wall clock). When there is
     * none, size() is not positive and map() fails.
     */
    ShmemVideoBuffer(
        QSharedPointer<shm_reader_t> const& reader, qint64 timestamp, shm_video_lookup_mode_t mode);
    /** Locks the newest frame when @p timestamp is 0, otherwise the frame of that time. */
    ShmemVideoBuffer(QSharedPointer<shm_reader_t> const& reader, qint64 timestamp);
    ~ShmemVideoBuffer() override;

    /** Size of the locked frame, pixels. */
    QSize size() const { return QSize(mFrame.width, mFrame.height); }
    /** Time of the locked frame, µs of the wall clock. */
    qint64 timestamp() const { return mFrame.timestamp; }

    MapMode mapMode() const override;
    using QAbstractPlanarVideoBuffer::map;
    /**
     * Hands out the three planes. Only reading is allowed, and only one mapping at a time; the
     * process ends otherwise.
     * @param numBytes receives the size of all planes together; may be null
     * @return the number of planes, 0 without a locked frame
     */
    int map(MapMode mode, int* numBytes, int bytesPerLine[4], uchar* data[4]) override;
    /** Ends the mapping, not the lock. The process ends when the buffer is not mapped. */
    void unmap() override;

private:
    MapMode mMapMode = NotMapped;
    QSharedPointer<shm_reader_t> mReader;
    shm_video_frame_t mFrame = {};
};

#endif
