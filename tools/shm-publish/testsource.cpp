#include "testsource.h"

#include "testpicture.h"
#include "testsound.h"
#include "timegrid.h"

#include <algorithm>

namespace {

/** Media later than this are left out rather than published in a burst. */
constexpr int64_t MaxLateness = 300000;
/** Nothing is prepared earlier than this before its time, unless the clock was set back. */
constexpr int64_t MaxLead = 300000;
constexpr int BlocksPerSecond = 100;

/** Which instant of a grid comes next, following a wall clock that can be set. */
class GridCursor
{
public:
    explicit GridCursor(AVRational rate)
        : grid(rate)
    {}

    /**
     * Finds the place anew when there was none yet, when it is over, or when the clock was set.
     * @return how many instants were passed over
     */
    int64_t follow(int64_t now)
    {
        bool const late = index != None && now - grid.at(index) > MaxLateness;
        bool const early = index != None && grid.at(index - 1) - now > MaxLead;
        if (index != None && !late && !early)
            return 0;
        int64_t const before = index;
        index = grid.firstAtOrAfter(now);
        return late ? index - before : 0;
    }

    static constexpr int64_t None = INT64_MIN;
    TimeGrid grid;
    int64_t index = None;
};

class TestVideoTrack : public Track
{
public:
    TestVideoTrack(Stream& stream, MediaFormat const& format)
        : mStream(stream)
        , mPicture(format.width, format.height, format.rate)
        , mCursor(format.rate)
    {}
    ~TestVideoTrack() override
    {
        if (mHolding)
            mStream.release(mSlot);
    }

    State prepare(int64_t now) override
    {
        int64_t const wanted = mCursor.index;
        int64_t const passed = mCursor.follow(now);
        mStream.counters.late += static_cast<uint64_t>(passed);
        mNumber += static_cast<uint64_t>(passed);
        if (mCursor.index != wanted)
            mDrawn = false;
        // Drawn ahead of its time, so that the frame is out as soon as it is due.
        if (!mDrawn && mStream.mayTakeAhead())
            draw();
        return State::Ready;
    }

    int64_t begin() const override { return mCursor.grid.at(mCursor.index); }
    int64_t end() const override { return mCursor.grid.at(mCursor.index + 1); }
    int64_t due() const override { return begin(); }

    void publish(int64_t timestamp) override
    {
        if (!mDrawn)
            draw();
        if (mHolding && mStream.commit(mSlot, timestamp))
            mHolding = false;
        mDrawn = false;
        ++mCursor.index;
        ++mNumber;
    }

    void releaseSlots() override
    {
        if (mHolding)
            mStream.release(mSlot);
        mHolding = false;
        mDrawn = false;
    }

private:
    void draw()
    {
        if (!mHolding)
            mHolding = mStream.acquire(mSlot);
        if (mHolding)
            mPicture.draw(mSlot, begin(), mNumber, isFlash());
        mDrawn = true;
    }

    bool isFlash() const
    {
        return begin() / TimeGrid::Second != mCursor.grid.at(mCursor.index - 1) / TimeGrid::Second;
    }

    Stream& mStream;
    TestPicture mPicture;
    GridCursor mCursor;
    uint64_t mNumber = 0;
    shm_writer_frame_t mSlot = {};
    bool mHolding = false;
    bool mDrawn = false; /**< the present frame was drawn, or found no slot */
};

class TestAudioTrack : public Track
{
public:
    TestAudioTrack(Stream& stream, MediaFormat const& format)
        : mStream(stream)
        , mSound(format.sampleRate, format.channels)
        , mCursor({format.sampleRate, 1})
    {}

    State prepare(int64_t now) override
    {
        mCursor.follow(now);
        return State::Ready;
    }

    int64_t begin() const override { return mCursor.grid.at(mCursor.index); }
    int64_t end() const override { return mCursor.grid.at(mCursor.index + blockSize()); }
    int64_t due() const override { return end(); }

    void publish(int64_t timestamp) override
    {
        mStream.append(mSound.from(inSecond()), static_cast<uint32_t>(blockSize()), timestamp);
        mCursor.index += blockSize();
    }

private:
    int inSecond() const { return static_cast<int>(mCursor.index % mSound.rate()); }
    int blockSize() const
    {
        return std::min(mSound.rate() / BlocksPerSecond, mSound.rate() - inSecond());
    }

    Stream& mStream;
    TestSound mSound;
    GridCursor mCursor;
};

} // namespace

TestSource::TestSource(Options const& options)
{
    if (options.video) {
        mFormat.width = options.width ? options.width : 1280;
        mFormat.height = options.height ? options.height : 720;
        mFormat.rate = options.rate.num ? options.rate : AVRational{25, 1};
        mFormat.heldSlots = 1;
    }
    if (options.audio) {
        mFormat.sampleRate = options.audioRate ? options.audioRate : 48000;
        mFormat.channels = options.channels ? options.channels : 2;
    }
}

TestSource::~TestSource() = default;

void TestSource::attach(Stream& stream)
{
    if (mFormat.width)
        mTracks.push_back(std::make_unique<TestVideoTrack>(stream, mFormat));
    if (mFormat.sampleRate)
        mTracks.push_back(std::make_unique<TestAudioTrack>(stream, mFormat));
}

std::vector<Track*> TestSource::tracks()
{
    std::vector<Track*> tracks;
    for (auto const& track : mTracks)
        tracks.push_back(track.get());
    return tracks;
}
