#ifndef DISTRIBUTION_H
#define DISTRIBUTION_H

#include <optional>
#include <vector>

#include <QtGlobal>

/** How values are spread, at a fixed cost of memory however many there are. */
class Distribution
{
public:
    /** For values from @p least to @p most, in classes of @p width; all beyond count as these. */
    Distribution(qint64 least, qint64 most, qint64 width);

    void add(qint64 value);

    /** The value that @p share of them (0 to 1) did not exceed; to within a class. */
    std::optional<double> percentile(double share) const;

private:
    qint64 mLeast;
    qint64 mMost;
    qint64 mWidth;
    qint64 mCount = 0;
    std::vector<quint32> mClasses; // how many values are in each
};

#endif
