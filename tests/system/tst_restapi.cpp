#include "system/restapi.h"

#include <thread>
#include <vector>

#include <QBuffer>
#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

#include "messagecheck.h"
#include "programfolder.h"
#include "textliteral.h"

namespace {

constexpr int mebibyte = 1 << 20;

using Calls = QVector<QStringList>;
using Params = QMap<QString, QVariant>;

/** A type of a program's own that is as good as a QSize. */
struct Resolution
{
    int columns;
    int rows;
};

/** Every pixel is another than its neighbours, so that the file isn't short. */
QImage picture()
{
    QImage image(64, 48, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgb(x * 37 % 256, y * 91 % 256, x * y % 256));
    }
    return image;
}

QByteArray imageFile(char const* format)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    picture().save(&buffer, format);
    return buffer.data();
}

} // namespace

Q_DECLARE_METATYPE(Resolution)

class RestApiTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY((QMetaType::registerConverter<Resolution, QSize>([](Resolution const& resolution) {
            return QSize(resolution.columns, resolution.rows);
        })));
    }

    void init() { setAnswer("body"); }
    void cleanup() { mPrograms.takeCalls(); }

    void method_isFirstArgument()
    {
        QCOMPARE(restAPI::get("/a"_s, {}), QVariant("body"_s));
        QCOMPARE(restAPI::post("/b"_s, {}), QVariant("body"_s));
        QCOMPARE(restAPI::put("/c"_s, {}), QVariant("body"_s));
        QCOMPARE(restAPI::del("/d"_s, {}), QVariant("body"_s));
        QCOMPARE(mPrograms.takeCalls(),
            (Calls{{"rest_api"_s, "GET"_s, "/a"_s}, {"rest_api"_s, "POST"_s, "/b"_s},
                {"rest_api"_s, "PUT"_s, "/c"_s}, {"rest_api"_s, "DELETE"_s, "/d"_s}}));
    }

    void method_passesParametersOn()
    {
        Params const params{{"id"_s, 5}};
        for (auto function : {restAPI::get, restAPI::post, restAPI::put, restAPI::del}) {
            function("/a"_s, params);
            Calls const calls = mPrograms.takeCalls();
            QCOMPARE(calls.size(), 1);
            QCOMPARE(calls.first().mid(2), (QStringList{"/a"_s, "id=5"_s}));
        }
    }

    void parameters_areInOrderOfTheirKeys()
    {
        restAPI::get("/a"_s, {{"size"_s, QSize(1280, 720)}, {"id"_s, 5}});
        QCOMPARE(mPrograms.takeCalls(),
            (Calls{{"rest_api"_s, "GET"_s, "/a"_s, "id=5"_s, "size=1280x720"_s}}));

        restAPI::get("/a"_s, {{"b"_s, 1}, {"B"_s, 2}, {"a b"_s, 3}, {""_s, 4}, {"10"_s, 5}});
        QCOMPARE(mPrograms.takeCalls(), (Calls{{"rest_api"_s, "GET"_s, "/a"_s, "=4"_s, "10=5"_s,
                                            "B=2"_s, "a b=3"_s, "b=1"_s}}));
    }

    void path_isPassedAsItIs()
    {
        for (QString const& path : {QString(), "a b/../$HOME?x=1&y=%20\n"_s, "-d"_s}) {
            restAPI::get(path, {});
            QCOMPARE(mPrograms.takeCalls(), (Calls{{"rest_api"_s, "GET"_s, path}}));
        }
    }

    void parameter_isWrittenByItsType_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("QSize") << QVariant(QSize(1920, 1080)) << "1920x1080"_s;
        QTest::newRow("invalid QSize") << QVariant(QSize()) << "-1x-1"_s;
        QTest::newRow("large QSize") << QVariant(QSize(1234567, 0)) << "1234567x0"_s;
        QTest::newRow("QSizeF") << QVariant(QSizeF(1.6, 2.4)) << "2x2"_s;
        QTest::newRow("own type that converts to QSize")
            << QVariant::fromValue(Resolution{640, 480}) << "640x480"_s;
        QTest::newRow("text like a size") << QVariant("3x4"_s) << "3x4"_s;
        QTest::newRow("QPoint") << QVariant(QPoint(1, 2)) << ""_s;
        QTest::newRow("QRect") << QVariant(QRect(1, 2, 3, 4)) << ""_s;
        QTest::newRow("int") << QVariant(-5) << "-5"_s;
        QTest::newRow("qint64") << QVariant(qint64(1) << 60) << "1152921504606846976"_s;
        QTest::newRow("double") << QVariant(0.1) << "0.1"_s;
        QTest::newRow("whole double") << QVariant(25.0) << "25"_s;
        QTest::newRow("large double") << QVariant(1e21) << "1e+21"_s;
        QTest::newRow("true") << QVariant(true) << "true"_s;
        QTest::newRow("false") << QVariant(false) << "false"_s;
        QTest::newRow("text") << QVariant(" two  words=\"größe\"\n$HOME %1 "_s)
                              << " two  words=\"größe\"\n$HOME %1 "_s;
        QTest::newRow("empty text") << QVariant(""_s) << ""_s;
        QTest::newRow("bytes") << QVariant(QByteArray("größe")) << "größe"_s;
        QTest::newRow("list of one text") << QVariant(QStringList{"a"_s}) << "a"_s;
        QTest::newRow("list of two texts") << QVariant(QStringList{"a"_s, "b"_s}) << ""_s;
        QTest::newRow("date") << QVariant(QDate(2024, 2, 29)) << "2024-02-29"_s;
        QTest::newRow("invalid") << QVariant() << ""_s;
    }

    void parameter_isWrittenByItsType()
    {
        QFETCH(QVariant, value);
        QFETCH(QString, text);
        restAPI::put("/a"_s, {{"key"_s, value}});
        QCOMPARE(mPrograms.takeCalls(), (Calls{{"rest_api"_s, "PUT"_s, "/a"_s, "key="_s + text}}));
    }

    void body_decidesTheType_data();
    void body_decidesTheType();

    void truncatedJpeg_isWhatTheDecoderMakesOfIt()
    {
        // Qt fills the rest of the picture and says so.
        expectMessage(QtWarningMsg, "Corrupt JPEG data: premature end of data segment"_s);
        QByteArray const file = imageFile("JPEG");
        setAnswer(file.left(file.size() / 2));
        QVariant const answer = restAPI::get("/a"_s, {});
        QCOMPARE(answer.userType(), int(QMetaType::QImage));
        QCOMPARE(answer.value<QImage>().size(), picture().size());
    }

    void failingProgram_givesInvalid_data()
    {
        QTest::addColumn<QByteArray>("commands");
        QTest::newRow("1") << QByteArray("printf '{\"x\":1}'; exit 1");
        QTest::newRow("255") << QByteArray("printf text; exit 255");
        QTest::newRow("SIGKILL") << QByteArray("printf text; kill -KILL $$");
        QTest::newRow("SIGTERM") << QByteArray("printf text; kill -TERM $$");
        QTest::newRow("nothing") << QByteArray("exit 0");
        QTest::newRow("standard error only") << QByteArray("echo text >&2");
        QTest::newRow("nothing, 1") << QByteArray("exit 1");
    }

    void failingProgram_givesInvalid()
    {
        QFETCH(QByteArray, commands);
        mPrograms.addScript("rest_api"_s, commands);
        QVERIFY(!restAPI::get("/a"_s, {}).isValid());
    }

    void missingProgram_givesInvalid()
    {
        QVERIFY(QFile::remove(mPrograms.path("rest_api"_s)));
        QVERIFY(!restAPI::get("/a"_s, {}).isValid());
    }

    void programThatIsNotExecutable_givesInvalid()
    {
        QVERIFY(QFile::setPermissions(mPrograms.path("rest_api"_s), QFile::ReadOwner));
        QVERIFY(!restAPI::get("/a"_s, {}).isValid());
        QVERIFY(QFile::remove(mPrograms.path("rest_api"_s)));
    }

    void standardError_isNotAmongTheBody()
    {
        mPrograms.addFile("errors"_s, QByteArray(mebibyte, 'x'));
        mPrograms.addScript("rest_api"_s, "printf '[1'; cat \"$here/errors\" >&2; printf ',2]'");
        QCOMPARE(restAPI::get("/a"_s, {}), QVariant(QJsonArray{1, 2}));
    }

    void callsFromSeveralThreads_eachGetTheirOwn()
    {
        // All of them look for the signatures, some at the very first time.
        mPrograms.addFile("png"_s, imageFile("PNG"));
        mPrograms.addScript("rest_api"_s, "case $2 in\n"
                                          "/png) cat \"$here/png\";;\n"
                                          "/json) printf '{\"x\":1}';;\n"
                                          "*) printf '%s' \"$*\";;\n"
                                          "esac");
        struct Request
        {
            QString path;
            QVariant answer;
        };
        std::vector<Request> const requests{
            {"/png"_s, picture()},
            {"/json"_s, QJsonObject{{"x"_s, 1}}},
            {"/text"_s, "DELETE /text a=1x2"_s},
            {"/other"_s, "DELETE /other a=1x2"_s},
        };
        constexpr int rounds = 10;
        std::vector<int> good(requests.size(), 0);
        std::vector<std::thread> threads;
        for (size_t i = 0; i < requests.size(); ++i) {
            threads.emplace_back([&request = requests[i], &count = good[i]] {
                for (int round = 0; round < rounds; ++round) {
                    if (restAPI::del(request.path, {{"a"_s, QSize(1, 2)}}) == request.answer)
                        ++count;
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(good, std::vector<int>(requests.size(), rounds));
    }

private:
    /** What the program prints; it notes its arguments. */
    void setAnswer(QByteArray const& body)
    {
        mPrograms.addFile("body"_s, body);
        mPrograms.addScript("rest_api"_s, "note \"$@\"; cat \"$here/body\"");
    }

    ProgramFolder mPrograms;
};

void RestApiTest::body_decidesTheType_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QVariant>("answer");
    QTest::addColumn<QStringList>("warnings"); // Qt's own, of an image
    auto const json = [](char const* name, QByteArray const& body, QJsonValue const& value) {
        QTest::newRow(name) << body
                            << (value.isObject() ? QVariant(value.toObject())
                                                 : QVariant(value.toArray()))
                            << QStringList();
    };
    auto const text = [](char const* name, QByteArray const& body, QString const& answer) {
        QTest::newRow(name) << body << QVariant(answer) << QStringList();
    };
    auto const raw = [](char const* name, QByteArray const& body,
                         QStringList const& warnings = {}) {
        QTest::newRow(name) << body << QVariant(body) << warnings;
    };

    json("object", "{\"x\":1}", QJsonObject{{"x"_s, 1}});
    json("array", "[1,\"größe\"]", QJsonArray{1, "größe"_s});
    json("empty object", "{}", QJsonObject());
    json("empty array", "[]", QJsonArray());
    json("white space inside", "[ 1,\n 2 ]", QJsonArray{1, 2});
    json("large array", '[' + QByteArray("1,").repeated(mebibyte / 2) + "2]", [] {
        QJsonArray array;
        for (int i = 0; i < mebibyte / 2; ++i)
            array.append(1);
        array.append(2);
        return array;
    }());

    text("object, newline behind", "{\"x\":1}\n", "{\"x\":1}\n"_s);
    text("array, newline behind", "[1]\n", "[1]\n"_s);
    text("object, space before", " {\"x\":1}", " {\"x\":1}"_s);
    text("object, byte order mark before", "\xEF\xBB\xBF{}", "{}"_s);
    text("broken object", "{\"x\":}", "{\"x\":}"_s);
    text("broken array", "[1,]", "[1,]"_s);
    text("two objects", "{}{}", "{}{}"_s);
    text("object ends as an array", "{\"x\":1]", "{\"x\":1]"_s);
    text("array ends as an object", "[1}", "[1}"_s);
    text("one brace", "{", "{"_s);
    text("one bracket", "]", "]"_s);
    text("JSON number", "12", "12"_s);
    text("JSON text", "\"a\"", "\"a\""_s);
    text("NUL in an object", QByteArray("{\"x\"\0:1}", 9), "{\"x\""_s);

    QTest::newRow("PNG") << imageFile("PNG") << QVariant(picture()) << QStringList();
    QTest::newRow("JPEG") << imageFile("JPEG") << QVariant(QImage::fromData(imageFile("JPEG")))
                          << QStringList();
    raw("truncated PNG", imageFile("PNG").left(200));
    raw("signature of PNG alone", QByteArray("\x89PNG\r\n\x1A\n", 8));
    QString const noImage = "JPEG datastream contains no image"_s;
    raw("signature of JPEG alone", QByteArray("\xFF\xD8\xFF", 3), {noImage});
    raw("JPEG without a picture", QByteArray("\xFF\xD8\xFF\xD9", 4), {noImage});
    raw("NUL behind a signature", QByteArray("\xFF\xD8\xFF\0\0\1", 6),
        {"Corrupt JPEG data: 4 extraneous bytes before marker 0xd9"_s, noImage});
    text("seven bytes of a signature", QByteArray("\x89PNG\r\n\x1A"), "\uFFFDPNG\r\n\x1A"_s);
    text("image of another format", imageFile("PPM").left(16),
        QString::fromLatin1(imageFile("PPM").left(13)));

    text("text", "größe\n", "größe\n"_s);
    text("newline", "\n", "\n"_s);
    text("carriage return", "a\r\n", "a\r\n"_s);
    text("NUL", QByteArray("a\0b", 3), "a"_s);
    text("NUL first", QByteArray("\0b", 2), ""_s);
    text("not UTF-8", "a\xE4z", "a\uFFFDz"_s);
    text("large text", QByteArray(mebibyte, 'x'), QString(mebibyte, QLatin1Char('x')));
}

void RestApiTest::body_decidesTheType()
{
    QFETCH(QByteArray, body);
    QFETCH(QVariant, answer);
    QFETCH(QStringList, warnings);
    for (QString const& warning : warnings)
        expectMessage(QtWarningMsg, warning);
    setAnswer(body);
    QVariant const result = restAPI::get("/a"_s, {});
    QCOMPARE(result.userType(), answer.userType());
    QCOMPARE(result, answer);
}

int main(int argc, char* argv[])
{
    // Arguments are passed in the encoding of the locale, which the application object sets.
    qputenv("LC_ALL", "C.UTF-8");
    QCoreApplication app(argc, argv);
    RestApiTest test;
    return runCheckingMessages(&test, argc, argv);
}

#include "tst_restapi.moc"
