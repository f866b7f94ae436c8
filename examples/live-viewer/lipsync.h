#ifndef LIPSYNC_H
#define LIPSYNC_H

#include <optional>
#include <vector>

#include <QtGlobal>

/**
 * Decides when to move the picture, and where to, so that it agrees with the sound. The picture can
 * be moved by whole frames only, so what is less than half a frame is left as it is. All times are
 * microseconds of the wall clock.
 */
class LipSync
{
public:
    /** The picture is where it was put without regard to the sound. */
    void restart();

    /**
     * The frame of @p timestamp came to the screen at @p now, while what was heard lay @p soundLag
     * behind. @param interval between two frames of the stream
     * @return the moment of the stream to show now, when the picture has to be moved
     */
    std::optional<qint64> painted(qint64 timestamp, qint64 now, qint64 soundLag, qint64 interval);

private:
    std::optional<qint64> move(qint64 now, qint64 soundLag, qint64 interval);

    bool mPlaced = false;
    qint64 mPlacedAt = 0;
    qint64 mLead = 0; // how much sooner than it is to be seen a frame has to be asked for
    std::vector<qint64> mOffsets; // since the picture was placed or last judged
};

#endif
