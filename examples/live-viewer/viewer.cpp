#include "viewer.h"

#include "imageviewer.h"
#include "options.h"
#include "videoviewer.h"

std::unique_ptr<Viewer> Viewer::make(Options const& options)
{
    if (options.renderer == Renderer::OpenGL)
        return std::make_unique<VideoViewer>(options);
    return std::make_unique<ImageViewer>(options);
}
