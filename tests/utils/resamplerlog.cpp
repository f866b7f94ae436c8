#include "resamplerlog.h"

#include <cerrno>
#include <utility>

#include <dlfcn.h>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace {

QStringList calls;
QString toFail;
int contextCount = 0;

/** @return whether the call is to go on to the library */
bool record(QString const& call)
{
    calls.append(call);
    if (toFail.isEmpty() || !call.startsWith(toFail))
        return true;
    toFail.clear();
    return false;
}

// Not named after the function, since what is recorded is only the reader's.
template<typename Value>
void recordOption(char const* type, char const* name, Value value, int flags)
{
    record(QStringLiteral("%1 %2 %3%4")
               .arg(QLatin1String(type), QLatin1String(name))
               .arg(value)
               .arg(QLatin1String(flags ? " flags" : "")));
}

// The library's own function behind the one of the same name here.
template<typename Function>
Function* original(Function*, char const* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

QStringList resamplerlog::takeCalls()
{
    return std::exchange(calls, {});
}

int resamplerlog::contexts()
{
    return contextCount;
}

void resamplerlog::failNext(QString const& call)
{
    toFail = call;
}

extern "C" {

Q_DECL_EXPORT SwrContext* swr_alloc()
{
    static auto* const real = original(&swr_alloc, "swr_alloc");
    if (!record(QStringLiteral("alloc")))
        return nullptr;
    ++contextCount;
    return real();
}

Q_DECL_EXPORT void swr_free(SwrContext** context)
{
    static auto* const real = original(&swr_free, "swr_free");
    if (*context)
        --contextCount;
    record(QStringLiteral("free"));
    real(context);
}

Q_DECL_EXPORT int swr_init(SwrContext* context)
{
    static auto* const real = original(&swr_init, "swr_init");
    return record(QStringLiteral("init")) ? real(context) : AVERROR(EINVAL);
}

Q_DECL_EXPORT int swr_convert(
    SwrContext* context, uint8_t** output, int room, uint8_t const** input, int frames)
{
    static auto* const real = original(&swr_convert, "swr_convert");
    QString const call = input ? QStringLiteral("convert %1 %2").arg(room).arg(frames)
                               : QStringLiteral("drain %1").arg(room);
    return record(call) ? real(context, output, room, input, frames) : AVERROR(ENOMEM);
}

Q_DECL_EXPORT int av_opt_set_channel_layout(
    void* object, char const* name, int64_t layout, int flags)
{
    static auto* const real = reinterpret_cast<int (*)(void*, char const*, int64_t, int)>(
        dlsym(RTLD_NEXT, "av_opt_set_channel_layout"));
    recordOption("layout", name, layout, flags);
    return real(object, name, layout, flags);
}

Q_DECL_EXPORT int av_opt_set_sample_fmt(
    void* object, char const* name, AVSampleFormat format, int flags)
{
    static auto* const real = original(&av_opt_set_sample_fmt, "av_opt_set_sample_fmt");
    recordOption("format", name, int(format), flags);
    return real(object, name, format, flags);
}

Q_DECL_EXPORT int av_opt_set_int(void* object, char const* name, int64_t value, int flags)
{
    static auto* const real = original(&av_opt_set_int, "av_opt_set_int");
    recordOption("int", name, value, flags);
    return real(object, name, value, flags);
}

Q_DECL_EXPORT int av_opt_set_double(void* object, char const* name, double value, int flags)
{
    static auto* const real = original(&av_opt_set_double, "av_opt_set_double");
    recordOption("double", name, value, flags);
    return real(object, name, value, flags);
}
}
