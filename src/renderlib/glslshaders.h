#ifndef GLSLSHADERS_H
#define GLSLSHADERS_H

namespace renderlib {

// The texts that the GLSL painter compiles. They are for OpenGL ES 2; Qt makes the precision words
// known to a desktop OpenGL.

/** Passes the positions on as they are: they come in normalised device coordinates. */
extern char const VertexShader[];

// Little-endian 32-bit RGB has blue in its first byte, where a GL_RGBA texture has red.
extern char const SwappedOpaqueRgbShader[];
extern char const SwappedAlphaRgbShader[];
/** For 32-bit RGB with red in its first byte, a format that no source has so far. */
extern char const AlphaRgbShader[];

extern char const ThreePlaneYuvShader[];
/** U is the luminance and V the alpha of the second texture. */
extern char const Nv12Shader[];

} // namespace renderlib

#endif
