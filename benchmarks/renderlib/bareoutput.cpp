#include "videooutput.h"

#include <cmath>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMatrix4x4>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>
#include <QWindow>

namespace {

constexpr char vertexShader[] = R"(
attribute highp vec4 corner;
attribute highp vec2 texel;
varying highp vec2 position;
void main()
{
    gl_Position = corner;
    position = texel;
}
)";

constexpr char fragmentShader[] = R"(
uniform sampler2D luma;
uniform sampler2D cb;
uniform sampler2D cr;
uniform mediump mat4 toRgb;
varying highp vec2 position;
void main()
{
    highp vec4 yuv = vec4(texture2D(luma, position).r, texture2D(cb, position).r,
        texture2D(cr, position).r, 1.0);
    gl_FragColor = toRgb * yuv;
}
)";

// Full-range YUV.
constexpr float toRgb[] = {
    1, 0, 1.402F, -0.701F, 1, -0.344F, -0.714F, 0.529F, 1, 1.772F, 0, -0.886F, 0, 0, 0, 1};

constexpr GLfloat corners[] = {-1, -1, 1, -1, -1, 1, 1, 1};
constexpr GLfloat texels[] = {0, 1, 1, 1, 0, 0, 1, 0};

bool waitUntilExposed(const QWindow& window)
{
    QElapsedTimer timer;
    timer.start();
    while (!window.isExposed() && timer.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return window.isExposed();
}

class BareOutput : public VideoOutput
{
public:
    BareOutput(const Pictures& pictures, const QRect& geometry, int tiles)
        : mPictures(pictures)
        , mTiles(tiles)
        , mTextures(size_t(3 * tiles))
    {
        mWindow.setSurfaceType(QSurface::OpenGLSurface);
        mWindow.setGeometry(geometry);
        mWindow.show();
        mIsReady = mContext.create() && waitUntilExposed(mWindow) &&
                   mContext.makeCurrent(&mWindow) && makeProgram();
        if (mIsReady)
            makeTextures();
    }

    ~BareOutput() override
    {
        mContext.makeCurrent(&mWindow);
        mProgram.reset();
    }

    bool isReady() const { return mIsReady; }

    bool show(int index) override
    {
        mContext.makeCurrent(&mWindow);
        QOpenGLFunctions* const gl = mContext.functions();
        gl->glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
        for (int tile = 0; tile < mTiles; ++tile) {
            upload(tile, mPictures[size_t(index + tile) % mPictures.size()]);
            const QRect rect = tileRect(mWindow.size(), tile, mTiles);
            gl->glViewport(
                rect.x(), mWindow.height() - rect.y() - rect.height(), rect.width(), rect.height());
            gl->glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
        }
        mContext.swapBuffers(&mWindow);
        return true;
    }

    std::string renderer()
    {
        const GLubyte* const name =
            mIsReady ? mContext.functions()->glGetString(GL_RENDERER) : nullptr;
        return name ? reinterpret_cast<const char*>(name) : std::string();
    }

private:
    QSize planeSize(int plane) const
    {
        const QSize size = mPictures.front().frame.size();
        return plane ? size / 2 : size;
    }

    bool makeProgram()
    {
        mProgram = std::make_unique<QOpenGLShaderProgram>();
        if (!mProgram->addShaderFromSourceCode(QOpenGLShader::Vertex, vertexShader) ||
            !mProgram->addShaderFromSourceCode(QOpenGLShader::Fragment, fragmentShader) ||
            !mProgram->link() || !mProgram->bind())
            return false;
        mProgram->enableAttributeArray("corner");
        mProgram->enableAttributeArray("texel");
        mProgram->setAttributeArray("corner", corners, 2);
        mProgram->setAttributeArray("texel", texels, 2);
        mProgram->setUniformValue("luma", 0);
        mProgram->setUniformValue("cb", 1);
        mProgram->setUniformValue("cr", 2);
        mProgram->setUniformValue("toRgb", QMatrix4x4(toRgb));
        return true;
    }

    void makeTextures()
    {
        QOpenGLFunctions* const gl = mContext.functions();
        gl->glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
        gl->glGenTextures(GLsizei(mTextures.size()), mTextures.data());
        for (size_t i = 0; i < mTextures.size(); ++i) {
            const QSize size = planeSize(int(i) % 3);
            gl->glBindTexture(GL_TEXTURE_2D, mTextures[i]);
            gl->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
            gl->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
            gl->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
            gl->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
            gl->glTexImage2D(GL_TEXTURE_2D, 0, GL_LUMINANCE, size.width(), size.height(), 0,
                GL_LUMINANCE, GL_UNSIGNED_BYTE, nullptr);
        }
    }

    // Leaves the tile's textures bound for drawing.
    void upload(int tile, const Picture& picture)
    {
        QOpenGLFunctions* const gl = mContext.functions();
        for (int plane = 0; plane < 3; ++plane) {
            const QSize size = planeSize(plane);
            gl->glActiveTexture(GLenum(GL_TEXTURE0 + plane));
            gl->glBindTexture(GL_TEXTURE_2D, mTextures[size_t(3 * tile + plane)]);
            gl->glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, size.width(), size.height(), GL_LUMINANCE,
                GL_UNSIGNED_BYTE, picture.planes[size_t(plane)]);
        }
    }

    const Pictures& mPictures;
    const int mTiles;
    QWindow mWindow;
    QOpenGLContext mContext;
    std::unique_ptr<QOpenGLShaderProgram> mProgram;
    std::vector<GLuint> mTextures; // of each tile Y, Cb, Cr
    bool mIsReady = false;
};

class BareWindows : public VideoOutput
{
public:
    void add(std::unique_ptr<BareOutput> window) { mWindows.push_back(std::move(window)); }

    bool show(int index) override
    {
        for (const std::unique_ptr<BareOutput>& window : mWindows)
            window->show(index++);
        return true;
    }

private:
    std::vector<std::unique_ptr<BareOutput>> mWindows;
};

} // namespace

QRect tileRect(const QSize& window, int index, int count)
{
    const int perRow = int(std::lround(std::sqrt(count)));
    const QSize size = window / perRow;
    return QRect(QPoint(index % perRow * size.width(), index / perRow * size.height()), size);
}

std::unique_ptr<VideoOutput> bareOutput(const Pictures& pictures, int tiles)
{
    auto output = std::make_unique<BareOutput>(pictures, QRect({}, windowSize), tiles);
    return output->isReady() ? std::move(output) : nullptr;
}

std::unique_ptr<VideoOutput> bareWindows(const Pictures& pictures, int count)
{
    auto windows = std::make_unique<BareWindows>();
    for (int i = 0; i < count; ++i) {
        auto window = std::make_unique<BareOutput>(pictures, tileRect(windowSize, i, count), 1);
        if (!window->isReady())
            return nullptr;
        windows->add(std::move(window));
    }
    return windows;
}

std::string rendererName()
{
    const Pictures pictures = makePictures({16, 16}, 1);
    return BareOutput(pictures, QRect({}, windowSize), 1).renderer();
}
