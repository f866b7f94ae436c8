#include "transport.h"

#include <cstdio>

#include <gst/gst.h>
#include <unistd.h>

namespace {

constexpr guint slots = 16;

template<auto function>
struct Releaser
{
    template<typename T>
    void operator()(T* object) const
    {
        function(object);
    }
};
using Pad = std::unique_ptr<GstPad, Releaser<gst_object_unref>>;

void stopElement(GstElement* element)
{
    gst_element_set_state(element, GST_STATE_NULL);
    gst_object_unref(element);
}
using Element = std::unique_ptr<GstElement, Releaser<stopElement>>;

Element makeElement(const char* factory, const Round& round)
{
    gst_init(nullptr, nullptr);
    GstElement* element = gst_element_factory_make(factory, nullptr);
    if (!element) {
        std::fprintf(stderr, "GStreamer has no %s here\n", factory);
        return nullptr;
    }
    gst_object_ref_sink(element);
    g_object_set(element, "socket-path", round.path.c_str(), nullptr);
    return Element(element);
}

// Frames are pushed into the sink by the sender's own thread and written straight into the sink's
// shared memory, so that its copy and the hop to a streaming thread fall away.
class GstSender : public FrameSender
{
public:
    explicit GstSender(Element sink)
        : mSink(std::move(sink))
        , mPad(gst_pad_new("src", GST_PAD_SRC))
    {
        g_object_set(mSink.get(), "shm-size", guint(slots * frameBytes), "sync", FALSE, "async",
            FALSE, "wait-for-connection", TRUE, nullptr);
        gst_object_ref_sink(mPad.get());
        const Pad sinkPad(gst_element_get_static_pad(mSink.get(), "sink"));
        gst_pad_link(mPad.get(), sinkPad.get());
        gst_pad_set_active(mPad.get(), TRUE);
        gst_element_set_state(mSink.get(), GST_STATE_PLAYING);

        GstCaps* caps = gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, "I420", "width",
            G_TYPE_INT, frameWidth, "height", G_TYPE_INT, frameHeight, "framerate",
            GST_TYPE_FRACTION, framesPerSecond, 1, nullptr);
        GstSegment segment;
        gst_segment_init(&segment, GST_FORMAT_TIME);
        gst_pad_push_event(mPad.get(), gst_event_new_stream_start("frames"));
        gst_pad_push_event(mPad.get(), gst_event_new_caps(caps));
        gst_pad_push_event(mPad.get(), gst_event_new_segment(&segment));

        GstQuery* query = gst_query_new_allocation(caps, FALSE);
        if (gst_pad_peer_query(mPad.get(), query) && gst_query_get_n_allocation_params(query) > 0)
            gst_query_parse_nth_allocation_param(query, 0, &mAllocator, nullptr);
        gst_query_unref(query);
        gst_caps_unref(caps);
    }

    ~GstSender() override
    {
        if (mAllocator)
            gst_object_unref(mAllocator);
    }

    bool hasAllocator() const { return mAllocator != nullptr; }

    bool acquire(FramePlanes& planes) override
    {
        GstMemory* memory = gst_allocator_alloc(mAllocator, frameBytes, nullptr);
        if (!memory)
            return false;
        mBuffer = gst_buffer_new();
        gst_buffer_append_memory(mBuffer, memory);
        if (memory->allocator != mAllocator || !gst_buffer_map(mBuffer, &mMap, GST_MAP_WRITE)) {
            gst_buffer_unref(mBuffer);
            return false;
        }
        planes = packedPlanes(mMap.data);
        return true;
    }

    void publish() override
    {
        gst_buffer_unmap(mBuffer, &mMap);
        gst_pad_push(mPad.get(), mBuffer);
    }

private:
    Element mSink;
    Pad mPad;
    GstAllocator* mAllocator = nullptr;
    GstBuffer* mBuffer = nullptr;
    GstMapInfo mMap = {};
};

std::unique_ptr<FrameSender> makeSender(const Round& round)
{
    Element sink = makeElement("shmsink", round);
    if (!sink)
        return nullptr;
    auto sender = std::make_unique<GstSender>(std::move(sink));
    if (sender->hasAllocator())
        return sender;
    std::fprintf(stderr, "GStreamer's shmsink offers no memory to write frames into\n");
    return nullptr;
}

GstFlowReturn takeBuffer(GstPad* pad, GstObject*, GstBuffer* buffer)
{
    FrameMark mark;
    if (gst_buffer_extract(buffer, 0, &mark, sizeof mark) == sizeof mark)
        static_cast<FrameLog*>(gst_pad_get_element_private(pad))->arrived(mark);
    gst_buffer_unref(buffer);
    return GST_FLOW_OK;
}

gboolean takeEvent(GstPad*, GstObject*, GstEvent* event)
{
    gst_event_unref(event);
    return TRUE;
}

// Frames are looked at in the source's own thread.
void receive(const Round& round, const std::function<void()>& ready, FrameLog& log)
{
    const Element source = makeElement("shmsrc", round);
    if (!source)
        return;
    const Pad pad(gst_pad_new("sink", GST_PAD_SINK));
    gst_object_ref_sink(pad.get());
    gst_pad_set_element_private(pad.get(), &log);
    gst_pad_set_chain_function(pad.get(), takeBuffer);
    gst_pad_set_event_function(pad.get(), takeEvent);
    const Pad sourcePad(gst_element_get_static_pad(source.get(), "src"));
    gst_pad_link(sourcePad.get(), pad.get());
    gst_pad_set_active(pad.get(), TRUE);
    if (gst_element_set_state(source.get(), GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) {
        std::fprintf(stderr, "GStreamer's shmsrc does not start\n");
        return;
    }
    ready();
    // Rare enough not to show among the processor time of the frames.
    while (!log.isComplete())
        usleep(200000);
    gst_element_set_state(source.get(), GST_STATE_NULL);
}

} // namespace

Transport gstreamerTransport()
{
    return {"GStreamer shm", makeSender, receive};
}
