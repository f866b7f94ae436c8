#include "messagecheck.h"
#include "shm_layout.h"

#include <cstddef>

#include <QCoreApplication>
#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QTest>
#include <QVector>

using namespace shm;

namespace {

struct Field
{
    QString name;
    size_t offset;
    size_t size;
};

bool operator==(Field const& a, Field const& b)
{
    return a.name == b.name && a.offset == b.offset && a.size == b.size;
}

// clang-format off
#define FIELD(type, member) \
    Field{QStringLiteral(#member), offsetof(type, member), sizeof(type::member)}

QMap<QString, QVector<Field>> codeLayout()
{
    return {
        {QStringLiteral("MediaHeader"), {
            FIELD(MediaHeader, config), FIELD(MediaHeader, video), FIELD(MediaHeader, audio),
            FIELD(MediaHeader, reserved)}},
        {QStringLiteral("MediaConfig"), {
            FIELD(MediaConfig, magic), FIELD(MediaConfig, version),
            FIELD(MediaConfig, header_size), FIELD(MediaConfig, file_size),
            FIELD(MediaConfig, instance), FIELD(MediaConfig, video_width),
            FIELD(MediaConfig, video_height), FIELD(MediaConfig, frame_count),
            FIELD(MediaConfig, slot_count), FIELD(MediaConfig, rate_num),
            FIELD(MediaConfig, rate_den), FIELD(MediaConfig, luma_stride),
            FIELD(MediaConfig, chroma_stride), FIELD(MediaConfig, luma_lines),
            FIELD(MediaConfig, chroma_lines), FIELD(MediaConfig, plane1_offset),
            FIELD(MediaConfig, plane2_offset), FIELD(MediaConfig, slot_size),
            FIELD(MediaConfig, slots_offset), FIELD(MediaConfig, generations_offset),
            FIELD(MediaConfig, index_offset), FIELD(MediaConfig, index_capacity),
            FIELD(MediaConfig, reserved0), FIELD(MediaConfig, audio_rate),
            FIELD(MediaConfig, audio_channels), FIELD(MediaConfig, audio_readable),
            FIELD(MediaConfig, audio_capacity), FIELD(MediaConfig, samples_offset),
            FIELD(MediaConfig, anchors_offset), FIELD(MediaConfig, anchor_capacity),
            FIELD(MediaConfig, name_length), FIELD(MediaConfig, name),
            FIELD(MediaConfig, reserved1)}},
        {QStringLiteral("VideoState"), {
            FIELD(VideoState, tail), FIELD(VideoState, head), FIELD(VideoState, dropped),
            FIELD(VideoState, reserved)}},
        {QStringLiteral("FrameEntry"), {
            FIELD(FrameEntry, sequence), FIELD(FrameEntry, timestamp),
            FIELD(FrameEntry, previous), FIELD(FrameEntry, slot)}},
        {QStringLiteral("AudioState"), {
            FIELD(AudioState, sequence), FIELD(AudioState, intact), FIELD(AudioState, reserved),
            FIELD(AudioState, spans)}},
        {QStringLiteral("AudioSpan"), {
            FIELD(AudioSpan, begin), FIELD(AudioSpan, end), FIELD(AudioSpan, anchor_tail),
            FIELD(AudioSpan, anchor_head), FIELD(AudioSpan, reserved)}},
        {QStringLiteral("AudioAnchor"), {
            FIELD(AudioAnchor, sequence), FIELD(AudioAnchor, position),
            FIELD(AudioAnchor, timestamp), FIELD(AudioAnchor, reserved)}},
    };
}
// clang-format on

/** The tables of the page, by the heading above each. */
QMap<QString, QVector<Field>> pageLayout()
{
    QMap<QString, QVector<Field>> layout;
    QFile page(QStringLiteral(STREAM_FORMAT_PAGE));
    if (!page.open(QIODevice::ReadOnly))
        return layout;
    QRegularExpression const row(QStringLiteral("^\\| (\\d+) \\| (\\d+) \\| (\\w+) \\|"));
    QString heading;
    for (QString const& line : QString::fromUtf8(page.readAll()).split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1Char('#')))
            heading = line.section(QLatin1Char(' '), 1);
        QRegularExpressionMatch const match = row.match(line);
        if (match.hasMatch()) {
            layout[heading].append({match.captured(3), size_t(match.captured(1).toUInt()),
                size_t(match.captured(2).toUInt())});
        }
    }
    return layout;
}

} // namespace

class LayoutTest : public QObject
{
    Q_OBJECT

private slots:
    void everyField_isWhereThePageSays_data();
    void everyField_isWhereThePageSays();
    void fields_leaveNoHole_data() { everyField_isWhereThePageSays_data(); }
    void fields_leaveNoHole();
    void sizes_areFixed();
    void derivedFields_ofAKnownStream();
    void pinRows_fillCacheLines();
};

void LayoutTest::everyField_isWhereThePageSays_data()
{
    QTest::addColumn<QString>("type");
    for (QString const& type : codeLayout().keys())
        QTest::newRow(qPrintable(type)) << type;
}

void LayoutTest::everyField_isWhereThePageSays()
{
    QFETCH(QString, type);
    QVector<Field> const code = codeLayout().value(type);
    QVector<Field> const page = pageLayout().value(type);
    QCOMPARE(page.size(), code.size());
    for (int i = 0; i < code.size(); ++i) {
        QVERIFY2(code[i] == page[i], qPrintable(QStringLiteral("%1: %2 bytes at %3")
                                                    .arg(code[i].name)
                                                    .arg(code[i].size)
                                                    .arg(code[i].offset)));
    }
}

void LayoutTest::fields_leaveNoHole()
{
    QFETCH(QString, type);
    size_t end = 0;
    for (Field const& field : codeLayout().value(type)) {
        QCOMPARE(field.offset, end);
        end += field.size;
    }
}

void LayoutTest::sizes_areFixed()
{
    QCOMPARE(sizeof(MediaHeader), size_t(4096));
    QCOMPARE(sizeof(MediaConfig), size_t(2048));
    QCOMPARE(sizeof(VideoState), size_t(64));
    QCOMPARE(sizeof(FrameEntry), size_t(32));
    QCOMPARE(sizeof(AudioState), size_t(192));
    QCOMPARE(sizeof(AudioSpan), size_t(64));
    QCOMPARE(sizeof(AudioAnchor), size_t(32));
    QCOMPARE(pageLayout().size(), codeLayout().size());
}

void LayoutTest::derivedFields_ofAKnownStream()
{
    MediaConfig config = {};
    config.video_width = 1920;
    config.video_height = 1080;
    config.frame_count = 8;
    config.slot_count = 16;
    config.audio_rate = 48000;
    config.audio_channels = 2;
    config.audio_readable = 96000;
    QVERIFY(deriveLayout(config));
    QCOMPARE(config.luma_stride, 1920u);
    QCOMPARE(config.chroma_stride, 960u);
    QCOMPARE(config.luma_lines, 1104u);
    QCOMPARE(config.chroma_lines, 552u);
    QCOMPARE(config.plane1_offset, uint64_t(1920 * 1104));
    QCOMPARE(config.plane2_offset, uint64_t(1920 * 1104 + 960 * 552));
    QCOMPARE(config.slot_size, uint64_t(3182592));
    QCOMPARE(config.index_capacity, 256u);
    QCOMPARE(config.index_offset, uint64_t(4096));
    QCOMPARE(config.generations_offset, uint64_t(4096 + 256 * 32));
    QCOMPARE(config.anchor_capacity, 1024u);
    QCOMPARE(config.anchors_offset, uint64_t(4096 + 256 * 32 + 128 * 8));
    QCOMPARE(config.samples_offset, config.anchors_offset + 1024 * 32);
    QCOMPARE(config.audio_capacity, uint64_t(96000 + 12001));
    QCOMPARE(config.slots_offset % 4096, uint64_t(0));
    QVERIFY(config.slots_offset >= config.samples_offset + config.audio_capacity * 4);
    QCOMPARE(config.file_size, config.slots_offset + 16 * config.slot_size);
}

void LayoutTest::pinRows_fillCacheLines()
{
    QCOMPARE(pinRowSize(0), size_t(64));
    QCOMPARE(pinRowSize(32), size_t(64));
    QCOMPARE(pinRowSize(33), size_t(128));
    QCOMPARE(pinsFileSize(128), size_t(128 * 256));
}

QVORLIN_TEST_MAIN(QCoreApplication, LayoutTest)

#include "tst_layout.moc"
