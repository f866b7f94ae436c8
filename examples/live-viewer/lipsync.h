#ifndef LIPSYNC_H
#define LIPSYNC_H

#include <optional>
#include <vector>

#include <QtGlobal>

/**
 * Decides when to move the picture, and where to, so that it agrees with the sound. It can be moved
 * by whole frames only, and is put less than a frame ahead: the position that an output reports
 * rather lags behind what is heard, and sound that comes first is noticed sooner than a picture
 * that does. All times are microseconds of the wall clock.
 */
class LipSync
{
public:
    LipSync();

    /** The picture is where it was put without regard to the sound. */
    void restart();

    /**
     * The frame of @p timestamp came to the screen at @p now, while what was heard lay @p soundLag
     * behind. @param interval between two frames of the stream
     * @return the moment of the stream to show now, when the picture has to be moved
     */
    std::optional<qint64> painted(qint64 timestamp, qint64 now, qint64 soundLag, qint64 interval);

private:
    qint64 move(qint64 now, qint64 soundLag);

    bool mPlaced = false;
    qint64 mPlacedAt = 0;
    qint64 mLead = 0; // how much sooner than it is to be seen a frame has to be asked for
    size_t mJudged;   // how many frames it takes to judge the place
    std::vector<qint64> mOffsets; // since the picture was placed or last judged
};

#endif
