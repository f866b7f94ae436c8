#ifndef FAKEDRM_H
#define FAKEDRM_H

#include <map>
#include <optional>
#include <set>
#include <vector>

#include <QMutex>
#include <QStringList>

#include <xf86drmMode.h>

/**
 * A display device under the test's hand: link qvorlin_fake_drm, and while a FakeDrm lives it is
 * /dev/dri/card0. The functions of libdrm answer from it, and each call is written down, for
 * example "open /dev/dri/card0", "resources", "current 1", "probe 1", "free 1", "free resources",
 * "close"; the number is the connector's id. Everything else is opened and closed as ever.
 *
 * The fields are for the test's own thread, while no other calls; the rest is thread-safe.
 */
class FakeDrm
{
public:
    struct Connector
    {
        uint32_t type = DRM_MODE_CONNECTOR_Unknown;
        uint32_t typeId = 1;
        drmModeConnection connection = DRM_MODE_DISCONNECTED;
        /** What a probe finds, where that is news. */
        std::optional<drmModeConnection> probedConnection = {};
        bool currentFails = false;
        bool probeFails = false;
        std::vector<drmModeModeInfo> modes = {};
        uint32_t widthMm = 0;
        uint32_t heightMm = 0;
        /** What its display says about itself, if anything. */
        std::optional<QByteArray> edid = {};
    };

    FakeDrm();
    ~FakeDrm();
    FakeDrm(FakeDrm const&) = delete;
    FakeDrm& operator=(FakeDrm const&) = delete;

    /** The first one has the id 1. */
    std::vector<Connector> connectors;
    bool openFails = false;
    bool resourcesFail = false;

    /** The calls since the last time. */
    QStringList takeCalls();
    /** The flags that the device was last opened with. */
    int openFlags() const { return mOpenFlags; }
    /** What was handed out and has not come back: descriptors, resources, connectors and so on. */
    int outstanding() const;

    // For the functions of the libraries.
    int open(char const* path, int flags);
    bool close(int descriptor);
    drmModeRes* getResources(int descriptor);
    void freeResources(drmModeRes* resources);
    drmModeConnector* getConnector(int descriptor, uint32_t id, bool probe);
    void freeConnector(drmModeConnector* connector);
    drmModePropertyRes* getProperty(int descriptor, uint32_t id);
    void freeProperty(drmModePropertyRes* property);
    drmModePropertyBlobRes* getPropertyBlob(int descriptor, uint32_t id);
    void freePropertyBlob(drmModePropertyBlobRes* blob);

private:
    struct Values
    {
        std::vector<uint32_t> ids;
        std::vector<uint64_t> values;
    };

    void checkDescriptor(int descriptor) const;

    mutable QMutex mMutex;
    QStringList mCalls;
    std::set<int> mDescriptors;
    std::map<drmModeRes*, std::vector<uint32_t>> mResources;
    std::map<drmModeConnector*, Values> mHandedOut;
    std::set<drmModePropertyRes*> mProperties;
    std::set<drmModePropertyBlobRes*> mBlobs;
    int mOpenFlags = 0;
};

#endif
