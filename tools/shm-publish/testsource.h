#ifndef TESTSOURCE_H
#define TESTSOURCE_H

#include "track.h"

#include <memory>

/**
 * The built-in source: TestPicture and TestSound on the wall clock's own grid. Frame k lies at
 * k / rate seconds since the epoch, sample n at n / rate seconds, so that the click and the flash
 * of a full second can be compared to the microsecond.
 */
class TestSource : public Source
{
public:
    explicit TestSource(Options const& options);
    ~TestSource() override;

    MediaClock::Basis basis() const override { return MediaClock::Basis::WallClock; }
    bool open(Pacer&) override { return true; }
    MediaFormat format() const override { return mFormat; }
    void attach(Stream& stream) override;
    std::vector<Track*> tracks() override;

private:
    MediaFormat mFormat;
    std::vector<std::unique_ptr<Track>> mTracks;
};

#endif
