#include "renderlib/glslshaders.h"

namespace renderlib {

char const VertexShader[] = "attribute highp vec4 vertexCoordArray;\n"
                            "attribute highp vec2 textureCoordArray;\n"
                            "uniform highp mat4 positionMatrix;\n"
                            "varying highp vec2 textureCoord;\n"
                            "void main(void)\n"
                            "{\n"
                            "   gl_Position = vertexCoordArray;\n"
                            "   textureCoord = textureCoordArray;\n"
                            "}\n";

char const SwappedOpaqueRgbShader[] =
    "uniform sampler2D texRgb;\n"
    "uniform mediump mat4 colorMatrix;\n"
    "varying highp vec2 textureCoord;\n"
    "void main(void)\n"
    "{\n"
    "    highp vec4 color = vec4(texture2D(texRgb, textureCoord.st).bgr, 1.0);\n"
    "    gl_FragColor = colorMatrix * color;\n"
    "}\n";

char const SwappedAlphaRgbShader[] =
    "uniform sampler2D texRgb;\n"
    "uniform mediump mat4 colorMatrix;\n"
    "varying highp vec2 textureCoord;\n"
    "void main(void)\n"
    "{\n"
    "    highp vec4 color = vec4(texture2D(texRgb, textureCoord.st).bgr, 1.0);\n"
    "    color = colorMatrix * color;\n"
    "    gl_FragColor = vec4(color.rgb, texture2D(texRgb, textureCoord.st).a);\n"
    "}\n";

char const AlphaRgbShader[] =
    "uniform sampler2D texRgb;\n"
    "uniform mediump mat4 colorMatrix;\n"
    "varying highp vec2 textureCoord;\n"
    "void main(void)\n"
    "{\n"
    "    highp vec4 color = vec4(texture2D(texRgb, textureCoord.st).rgb, 1.0);\n"
    "    color = colorMatrix * color;\n"
    "    gl_FragColor = vec4(color.rgb, texture2D(texRgb, textureCoord.st).a);\n"
    "}\n";

char const ThreePlaneYuvShader[] = "uniform sampler2D texY;\n"
                                   "uniform sampler2D texU;\n"
                                   "uniform sampler2D texV;\n"
                                   "uniform mediump mat4 colorMatrix;\n"
                                   "varying highp vec2 textureCoord;\n"
                                   "void main(void)\n"
                                   "{\n"
                                   "    highp vec4 color = vec4(\n"
                                   "    texture2D(texY, textureCoord.st).r,\n"
                                   "    texture2D(texU, textureCoord.st).r,\n"
                                   "    texture2D(texV, textureCoord.st).r,\n"
                                   "    1.0);\n"
                                   "    gl_FragColor = colorMatrix * color;\n"
                                   "}\n";

char const Nv12Shader[] = "uniform sampler2D texY;\n"
                          "uniform sampler2D texU;\n"
                          "uniform mediump mat4 colorMatrix;\n"
                          "varying highp vec2 textureCoord;\n"
                          "void main(void)\n"
                          "{\n"
                          "    highp vec4 color = vec4(\n"
                          "    texture2D(texY, textureCoord.st).r,\n"
                          "    texture2D(texU, textureCoord.st).r,\n"
                          "    texture2D(texU, textureCoord.st).a,\n"
                          "    1.0);\n"
                          "    gl_FragColor = colorMatrix * color;\n"
                          "}\n";

} // namespace renderlib
