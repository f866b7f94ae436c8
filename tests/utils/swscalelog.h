#ifndef SWSCALELOG_H
#define SWSCALELOG_H

#include <QSize>
#include <QVector>
#include <QtGlobal>

struct SwsContext;

/**
 * What the process asked of libswscale since clear(); add swscalelog.cpp to the sources of the test
 * program. The calls go on to the library. Not for several threads at a time.
 */
struct SwscaleLog
{
    struct Context
    {
        SwsContext* given;
        SwsContext* result;
        QSize from;
        int fromFormat;
        QSize to;
        int toFormat;
        int flags;
        bool plain; /**< without filters and parameters */
    };
    struct Colorspace
    {
        QVector<int> inverseTable;
        int sourceRange;
        QVector<int> table;
        int destinationRange;
        int brightness;
        int contrast;
        int saturation;
    };
    struct Scale
    {
        SwsContext* context;
        QVector<uchar const*> planes;
        QVector<int> strides;
        int firstLine;
        int lines;
        uchar* target;
        int targetStride;
    };

    QVector<Context> contexts;
    QVector<Colorspace> colorspaces;
    QVector<Scale> scales;
    QVector<SwsContext*> freed;

    static SwscaleLog& instance();
    static void clear() { instance() = SwscaleLog(); }
};

#endif
