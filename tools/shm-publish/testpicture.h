#ifndef TESTPICTURE_H
#define TESTPICTURE_H

#include <shm_writer.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/rational.h>
}

/**
 * Draws the frames of the test source: colour bars, below them a marker that crosses the picture
 * in four seconds, below that the local time and the frame number. A flash turns bars and marker
 * white and leaves the text readable. Full-range BT.601, as the stream's readers take it.
 */
class TestPicture
{
public:
    TestPicture(int width, int height, AVRational rate);

    /** Fills all three planes. @param timestamp µs since the epoch */
    void draw(shm_writer_frame_t const& frame, int64_t timestamp, uint64_t number, bool flash);

    int width() const { return mWidth; }
    int height() const { return mHeight; }

private:
    void drawBackground(AVRational rate);
    void drawMarker(shm_writer_frame_t const& frame, int64_t timestamp);
    void drawTexts(shm_writer_frame_t const& frame, int64_t timestamp, uint64_t number);
    uint8_t* textLine(uint8_t* plane, ptrdiff_t stride, int line) const;
    std::string clockText(int64_t timestamp);

    int mWidth;
    int mHeight;
    int mBarsEnd;   /**< first line of the strip in which the marker runs */
    int mStripEnd;  /**< first line of the text */
    int mTextScale; /**< 0: the picture is too small for text */
    int mTextTop;
    int mTextLeft;
    std::vector<uint8_t> mBackground[3];
    std::vector<uint8_t> mStripLine;
    time_t mSecond = -1; /**< that mTime is about */
    tm mTime = {};
};

#endif
