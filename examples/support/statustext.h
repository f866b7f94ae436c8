#ifndef STATUSTEXT_H
#define STATUSTEXT_H

#include <QString>

struct StreamState;

/** What is said of a stream that is shown; a dash stands for what is not known. */
namespace statustext {

QString size(StreamState const& state);
QString streamRate(StreamState const& state);
QString displayRate(StreamState const& state, double rate);
QString latency(StreamState const& state, double milliseconds);
QString offset(StreamState const& state, double milliseconds);

} // namespace statustext

#endif
