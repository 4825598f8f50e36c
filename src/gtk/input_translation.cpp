#include "input_translation.h"

namespace marqen::gtk {

std::string keyNameForKeyval(guint keyval) {
    switch (keyval) {
        case GDK_KEY_Left: case GDK_KEY_KP_Left: return "Left";
        case GDK_KEY_Right: case GDK_KEY_KP_Right: return "Right";
        case GDK_KEY_Up: case GDK_KEY_KP_Up: return "Up";
        case GDK_KEY_Down: case GDK_KEY_KP_Down: return "Down";
        case GDK_KEY_Delete: case GDK_KEY_KP_Delete: return "Delete";
        case GDK_KEY_BackSpace: return "BackSpace";
        case GDK_KEY_Escape: return "Escape";
        case GDK_KEY_Return: case GDK_KEY_KP_Enter: case GDK_KEY_ISO_Enter: return "Return";
        case GDK_KEY_Tab: case GDK_KEY_ISO_Left_Tab: case GDK_KEY_KP_Tab: return "Tab";
        case GDK_KEY_Page_Up: case GDK_KEY_KP_Page_Up: return "Page_Up";
        case GDK_KEY_Page_Down: case GDK_KEY_KP_Page_Down: return "Page_Down";
        default: break;
    }
    const gunichar character = gdk_keyval_to_unicode(gdk_keyval_to_lower(keyval));
    if (!character || g_unichar_iscntrl(character)) return {};
    char utf8[8] = {};
    g_unichar_to_utf8(character, utf8);
    return utf8;
}

MarqenModifierFlags modifiersForState(GdkModifierType state) {
    MarqenModifierFlags flags = 0;
    if (state & GDK_SHIFT_MASK) flags |= MarqenModifierShift;
    if (state & GDK_CONTROL_MASK) flags |= MarqenModifierControl;
    if (state & GDK_ALT_MASK) flags |= MarqenModifierAlt;
    return flags;
}

int toolForShortcutKey(guint keyval) {
    switch (gdk_keyval_to_lower(keyval)) {
        case GDK_KEY_v: return 0;
        case GDK_KEY_a: return 1;
        case GDK_KEY_t: return 2;
        case GDK_KEY_r: return 3;
        case GDK_KEY_u: return 4;
        case GDK_KEY_o: return 5;
        case GDK_KEY_l: return 6;
        case GDK_KEY_m: return 7;
        case GDK_KEY_h: return 8;
        case GDK_KEY_s: return 9;
        case GDK_KEY_p: return 10;
        case GDK_KEY_c: return 11;
        default: return -1;
    }
}

bool keyChoosesTool(guint keyval, GdkModifierType state, bool typingCreatesText, int *tool) {
    const int found = toolForShortcutKey(keyval);
    if (found < 0) return false;
    if (state & (GDK_SHIFT_MASK | GDK_CONTROL_MASK | GDK_SUPER_MASK | GDK_META_MASK)) return false;
    const bool alt = state & GDK_ALT_MASK;
    if (alt != typingCreatesText) return false;
    if (tool) *tool = found;
    return true;
}

}  // namespace marqen::gtk
