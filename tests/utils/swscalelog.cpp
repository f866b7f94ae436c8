#include "swscalelog.h"

#include <algorithm>
#include <iterator>

#include <dlfcn.h>

#include <QMutex>

extern "C" {
#include <libswscale/swscale.h>
}

namespace {

constexpr int TableSize = 4;

QMutex mutex;

// The library's own function behind the one of the same name here.
template<typename Function>
Function* original(Function*, char const* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

QVector<int> toVector(int const* table)
{
    QVector<int> values;
    std::copy_n(table, TableSize, std::back_inserter(values));
    return values;
}

} // namespace

SwscaleLog& SwscaleLog::instance()
{
    static SwscaleLog log;
    return log;
}

extern "C" {

Q_DECL_EXPORT SwsContext* sws_getCachedContext(SwsContext* context, int fromWidth, int fromHeight,
    AVPixelFormat fromFormat, int toWidth, int toHeight, AVPixelFormat toFormat, int flags,
    SwsFilter* sourceFilter, SwsFilter* targetFilter, double const* parameters)
{
    static auto* const real = original(&sws_getCachedContext, "sws_getCachedContext");
    SwsContext* const result = real(context, fromWidth, fromHeight, fromFormat, toWidth, toHeight,
        toFormat, flags, sourceFilter, targetFilter, parameters);
    QMutexLocker const lock(&mutex);
    SwscaleLog::instance().contexts.append(
        {context, result, QSize(fromWidth, fromHeight), fromFormat, QSize(toWidth, toHeight),
            toFormat, flags, !sourceFilter && !targetFilter && !parameters});
    return result;
}

Q_DECL_EXPORT int sws_setColorspaceDetails(SwsContext* context, int const inverseTable[TableSize],
    int sourceRange, int const table[TableSize], int destinationRange, int brightness, int contrast,
    int saturation)
{
    static auto* const real = original(&sws_setColorspaceDetails, "sws_setColorspaceDetails");
    {
        QMutexLocker const lock(&mutex);
        SwscaleLog::instance().colorspaces.append({toVector(inverseTable), sourceRange,
            toVector(table), destinationRange, brightness, contrast, saturation});
    }
    return real(context, inverseTable, sourceRange, table, destinationRange, brightness, contrast,
        saturation);
}

Q_DECL_EXPORT int sws_scale(SwsContext* context, uint8_t const* const planes[], int const strides[],
    int firstLine, int lines, uint8_t* const target[], int const targetStrides[])
{
    static auto* const real = original(&sws_scale, "sws_scale");
    {
        QMutexLocker const lock(&mutex);
        SwscaleLog::instance().scales.append({context, {planes[0], planes[1], planes[2], planes[3]},
            {strides[0], strides[1], strides[2], strides[3]}, firstLine, lines, target[0],
            targetStrides[0]});
    }
    return real(context, planes, strides, firstLine, lines, target, targetStrides);
}

Q_DECL_EXPORT void sws_freeContext(SwsContext* context)
{
    static auto* const real = original(&sws_freeContext, "sws_freeContext");
    {
        QMutexLocker const lock(&mutex);
        SwscaleLog::instance().freed.append(context);
    }
    real(context);
}
}
