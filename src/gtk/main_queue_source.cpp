// A GSource that drains MarqenKit's main queue. Work queued from another thread wakes the GLib
// context through the queue's wake-up handler, so the loop never polls.
#include "marqenkit-gtk/marqen-main-queue-source.h"

#include "foundation/queues.h"

namespace {

struct MainQueueSource {
    GSource source;
};

gboolean prepare(GSource *, gint *timeout) {
    *timeout = -1;
    return marqen::MainQueue::shared().pendingCount() > 0;
}

gboolean check(GSource *) { return marqen::MainQueue::shared().pendingCount() > 0; }

gboolean dispatch(GSource *, GSourceFunc, gpointer) {
    marqen::MainQueue::shared().drain();
    return G_SOURCE_CONTINUE;
}

GSourceFuncs sourceFunctions = {prepare, check, dispatch, nullptr, nullptr, nullptr};

}  // namespace

guint marqen_main_queue_source_attach(GMainContext *context) {
    static GMainContext *attachedContext = nullptr;
    static guint attachedId = 0;
    if (!context) context = g_main_context_default();
    if (attachedId && attachedContext == context) return attachedId;

    GSource *source = g_source_new(&sourceFunctions, sizeof(MainQueueSource));
    g_source_set_name(source, "MarqenKit main queue");
    // Results of background work are as urgent as input: they install what the user just drew.
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    attachedId = g_source_attach(source, context);
    attachedContext = context;
    g_source_unref(source);
    g_main_context_ref(context);
    marqen::MainQueue::shared().setWakeUpHandler([context] { g_main_context_wakeup(context); });
    return attachedId;
}
