#include "platform/vips_support.h"

#include <mutex>

namespace marqen::vips_support {

namespace {
void dropVipsMessage(const gchar *, GLogLevelFlags, const gchar *, gpointer) {}
}  // namespace

void ensureStarted() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (VIPS_INIT("marqenkit") != 0) vips_error_clear();
        vips_cache_set_max(0);
        vips_block_untrusted_set(TRUE);
        // OpenJPEG is marked untrusted by libvips but is the only JPEG 2000 reader we have; the
        // fuzz target exercises it through our adapter.
        vips_operation_block_set("VipsForeignLoadJp2k", FALSE);
        vips_operation_block_set("VipsForeignLoadMagick", TRUE);
        vips_operation_block_set("VipsForeignSaveMagick", TRUE);
        g_log_set_handler("VIPS", static_cast<GLogLevelFlags>(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE |
                                                              G_LOG_LEVEL_INFO | G_LOG_LEVEL_DEBUG),
                          dropVipsMessage, nullptr);
    });
}

std::string takeErrorText() {
    char *text = vips_error_buffer_copy();
    std::string result = text ? text : "";
    g_free(text);
    while (!result.empty() && (result.back() == '\n' || result.back() == ' ')) result.pop_back();
    for (char &c : result) {
        if (c == '\n') c = ';';
    }
    return result.empty() ? "unknown error" : result;
}

}  // namespace marqen::vips_support
