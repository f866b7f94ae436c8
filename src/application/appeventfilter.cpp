#include "application/appeventfilter.h"

#include "application/qvorlinapplication.h"

AppEventFilter::AppEventFilter(QVorlinApplication* application)
    : QObject(application)
    , mApplication(application)
{}

AppEventFilter::~AppEventFilter() = default;

bool AppEventFilter::eventFilter(QObject* watched, QEvent* event)
{
    return mApplication->handleEvent(watched, event) || QObject::eventFilter(watched, event);
}
