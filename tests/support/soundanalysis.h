#ifndef SOUNDANALYSIS_H
#define SOUNDANALYSIS_H

#include <vector>

#include <QtGlobal>

/** Measures sound, a channel at a time; part of qvorlin_sound_recorder. */
namespace soundanalysis {

/** A stretch of a channel. */
struct Part
{
    qint16 const* samples = nullptr;
    int count = 0;

    Part() = default;
    Part(std::vector<qint16> const& channel);
    /** From @p first to before @p last; what lies outside the channel is left out. */
    Part(std::vector<qint16> const& channel, int first, int last);
};

/** A sine in a stretch of sound. */
struct Tone
{
    double amplitude = 0; /**< full scale is 32768 */
    double phase = 0;     /**< radians, of the first sample */
    double rest = 0;      /**< RMS of what is left without the sine */
};

/** The sine of this frequency (Hz) that fits best. */
Tone fitTone(Part const& part, double frequency, int rate);
/** The frequency of the tone near @p guess; off by less than a period over half the stretch. */
double toneFrequency(Part const& part, double guess, int rate);
/** The loudest sample. */
int peak(Part const& part);
/** Where the sound gets louder than @p level after at least 10 ms that were not. */
std::vector<int> findClicks(Part const& part, int level, int rate);
/**
 * Where a pure tone of the frequency is broken: a sample isn't what the two before make of it, by
 * more than @p tolerance. Breaks less than 10 ms apart are one.
 */
std::vector<int> findBreaks(Part const& part, double frequency, int tolerance, int rate);

} // namespace soundanalysis

#endif
