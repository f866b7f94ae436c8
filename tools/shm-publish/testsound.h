#ifndef TESTSOUND_H
#define TESTSOUND_H

#include <cstddef>
#include <cstdint>
#include <vector>

/**
 * The sound of the test source: a quiet tone, higher from channel to channel (440, 660, 880 Hz and
 * so on), and a loud click that begins with the first sample of each second. As all tones fit into
 * a second a whole number of times, one second is made and repeated.
 */
class TestSound
{
public:
    TestSound(int rate, int channels);

    int rate() const { return mRate; }
    int channels() const { return mChannels; }

    /** The samples from @p index (0 to rate - 1, counted from the full second) to the second's end.
     */
    int16_t const* from(int index) const
    {
        return mSecond.data() + static_cast<size_t>(index) * static_cast<size_t>(mChannels);
    }

private:
    int mRate;
    int mChannels;
    std::vector<int16_t> mSecond; /**< interleaved */
};

#endif
