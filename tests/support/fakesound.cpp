#include "fakesound.h"

#include <utility>

#include <QAudioSystemPlugin>
#include <QCoreApplication>
#include <QIODevice>
#include <QtPlugin>

namespace {

FakeSound* fake = nullptr;

} // namespace

class FakeAudioOutput : public QAbstractAudioOutput
{
    Q_OBJECT

public:
    FakeAudioOutput()
        : mNumber(fake->add(this))
    {}
    ~FakeAudioOutput() override
    {
        record("delete");
        fake->remove(this);
    }

    int number() const { return mNumber; }

    void start(QIODevice* device) override
    {
        record("start");
        mDevice = device;
        mError = fake->errorWhenStarted;
        mState = fake->stateWhenStarted;
    }
    QIODevice* start() override
    {
        record("push");
        return nullptr;
    }
    void stop() override
    {
        record("stop");
        mState = QAudio::StoppedState;
        // As real ones do: whoever listens hears of the end from within the call.
        emit stateChanged(mState);
    }
    void reset() override
    {
        record("reset");
        mState = QAudio::StoppedState;
        mError = QAudio::NoError;
    }
    void suspend() override { record("suspend"); }
    void resume() override { record("resume"); }

    int bytesFree() const override { return fake->bufferSize; }
    int periodSize() const override { return fake->periodSize; }
    void setBufferSize(int value) override { record("setBufferSize", QString::number(value)); }
    int bufferSize() const override { return fake->bufferSize; }
    void setNotifyInterval(int milliseconds) override
    {
        record("setNotifyInterval", QString::number(milliseconds));
        mNotifyInterval = milliseconds;
    }
    int notifyInterval() const override { return mNotifyInterval; }
    qint64 processedUSecs() const override { return fake->processedUSecs; }
    qint64 elapsedUSecs() const override { return fake->processedUSecs; }
    QAudio::Error error() const override { return mError; }
    QAudio::State state() const override { return mState; }
    void setFormat(QAudioFormat const& format) override
    {
        record("setFormat", QStringLiteral("%1 Hz %2 ch %3 bit")
                                .arg(format.sampleRate())
                                .arg(format.channelCount())
                                .arg(format.sampleSize()));
        mFormat = format;
    }
    QAudioFormat format() const override { return mFormat; }
    void setVolume(qreal volume) override
    {
        record("setVolume", QString::number(volume));
        mVolume = volume;
    }
    qreal volume() const override { return mVolume; }

    void setState(QAudio::State state) { mState = state; }
    QByteArray pull(int size) { return mDevice->read(size); }

private:
    void record(char const* call, QString const& argument = QString())
    {
        fake->record(QStringLiteral("%1 %2 %3")
                         .arg(QLatin1String(call))
                         .arg(mNumber)
                         .arg(argument)
                         .trimmed());
    }

    int const mNumber;
    QIODevice* mDevice = nullptr;
    QAudioFormat mFormat;
    QAudio::State mState = QAudio::StoppedState;
    QAudio::Error mError = QAudio::NoError;
    qreal mVolume = 1;
    int mNotifyInterval = 1000;
};

namespace {

class FakeAudioDeviceInfo : public QAbstractAudioDeviceInfo
{
    Q_OBJECT

public:
    explicit FakeAudioDeviceInfo(QByteArray const& device)
        : mName(QString::fromUtf8(device).section(QLatin1Char('/'), 0, 0))
    {}

    QAudioFormat preferredFormat() const override { return fake->format; }
    bool isFormatSupported(QAudioFormat const& format) const override
    {
        return format == fake->format || (fake->takesOtherFormats && format.sampleSize() == 16);
    }
    QString deviceName() const override { return mName; }
    QStringList supportedCodecs() override { return {fake->format.codec()}; }
    QList<int> supportedSampleRates() override { return {fake->format.sampleRate()}; }
    QList<int> supportedChannelCounts() override { return {fake->format.channelCount()}; }
    QList<int> supportedSampleSizes() override { return {fake->format.sampleSize()}; }
    QList<QAudioFormat::Endian> supportedByteOrders() override
    {
        return {fake->format.byteOrder()};
    }
    QList<QAudioFormat::SampleType> supportedSampleTypes() override
    {
        return {fake->format.sampleType()};
    }

private:
    QString const mName;
};

} // namespace

class FakeSoundPlugin : public QAudioSystemPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QAudioSystemFactoryInterface_iid FILE "fakesound.json")

public:
    QList<QByteArray> availableDevices(QAudio::Mode mode) const override
    {
        QList<QByteArray> names;
        if (fake && mode == QAudio::AudioOutput) {
            for (QString const& device : fake->devices)
                names.append(device.toUtf8());
        }
        return names;
    }
    QAbstractAudioInput* createInput(QByteArray const&) override { return nullptr; }
    QAbstractAudioOutput* createOutput(QByteArray const& device) override
    {
        auto* output = new FakeAudioOutput;
        fake->record(
            QStringLiteral("create %1 %2").arg(output->number()).arg(QString::fromUtf8(device)));
        return output;
    }
    QAbstractAudioDeviceInfo* createDeviceInfo(QByteArray const& device, QAudio::Mode) override
    {
        return new FakeAudioDeviceInfo(device);
    }
};

Q_IMPORT_PLUGIN(FakeSoundPlugin)

FakeSound::FakeSound()
{
    if (fake)
        qFatal("there is one sound system at a time");
    // Those installed would list their devices as well.
    QCoreApplication::setLibraryPaths({});
    fake = this;
    format.setSampleRate(48000);
    format.setChannelCount(2);
    format.setSampleSize(16);
    format.setSampleType(QAudioFormat::SignedInt);
    format.setByteOrder(QAudioFormat::LittleEndian);
    format.setCodec(QStringLiteral("audio/pcm"));
}

FakeSound::~FakeSound()
{
    if (mOutput)
        qFatal("an output was not deleted");
    fake = nullptr;
}

QStringList FakeSound::takeCalls()
{
    return std::exchange(mCalls, {});
}

QByteArray FakeSound::pull(int size)
{
    return mOutput->pull(size);
}

void FakeSound::notify()
{
    emit mOutput->notify();
}

void FakeSound::changeState(QAudio::State state)
{
    mOutput->setState(state);
    emit mOutput->stateChanged(state);
}

void FakeSound::setState(QAudio::State state)
{
    mOutput->setState(state);
}

void FakeSound::record(QString const& call)
{
    mCalls.append(call);
}

int FakeSound::add(FakeAudioOutput* output)
{
    mOutput = output;
    return ++mCount;
}

void FakeSound::remove(FakeAudioOutput* output)
{
    if (mOutput == output)
        mOutput = nullptr;
}

#include "fakesound.moc"
