#include "shortcuts_window.h"

#include <string>

namespace marqen::edit {

namespace {

struct Entry {
    const char *accelerator;
    const char *title;
};

std::string shortcut(const char *accelerator, const char *title) {
    gchar *escapedTitle = g_markup_escape_text(title, -1);
    gchar *escapedAccelerator = g_markup_escape_text(accelerator, -1);
    std::string xml = std::string("<child><object class=\"GtkShortcutsShortcut\"><property name=\"title\">") + escapedTitle +
                      "</property><property name=\"accelerator\">" + escapedAccelerator + "</property></object></child>";
    g_free(escapedTitle);
    g_free(escapedAccelerator);
    return xml;
}

std::string group(const char *title, std::initializer_list<Entry> entries) {
    std::string xml = std::string("<child><object class=\"GtkShortcutsGroup\"><property name=\"title\">") + title + "</property>";
    for (const auto &entry : entries) xml += shortcut(entry.accelerator, entry.title);
    return xml + "</object></child>";
}

}  // namespace

GtkWindow *createShortcutsWindow(GtkWindow *parent, bool typingCreatesText) {
    const std::string prefix = typingCreatesText ? "<Alt>" : "";
    auto tool = [&](const char *key) { return prefix + key; };
    const std::string tools[] = {tool("v"), tool("a"), tool("t"), tool("r"), tool("u"), tool("o"),
                                 tool("l"), tool("m"), tool("h"), tool("s"), tool("p"), tool("c")};
    std::string xml =
        "<interface><object class=\"GtkShortcutsWindow\" id=\"window\"><property name=\"modal\">1</property>"
        "<child><object class=\"GtkShortcutsSection\"><property name=\"section-name\">editor</property>";
    xml += group("Files", {{"<Ctrl>o", "Open"}, {"<Ctrl>s", "Save"}, {"<Ctrl><Shift>s", "Save As"},
                           {"<Ctrl>e", "Export"}, {"<Ctrl>q", "Quit"}});
    xml += group("Editing", {{"<Ctrl>z", "Undo"}, {"<Ctrl><Shift>z", "Redo"}, {"<Ctrl>c", "Copy"}, {"<Ctrl>x", "Cut"},
                             {"<Ctrl>v", "Paste"}, {"Delete", "Delete the selection"}, {"<Ctrl>a", "Select all"},
                             {"Tab", "Select the next element"}, {"<Shift>Tab", "Select the previous element"},
                             {"Left Right Up Down", "Nudge the selection"}, {"Escape", "Finish editing a text"}});
    xml += group("View", {{"<Ctrl>0", "Actual size"}, {"<Ctrl>9", "Zoom to fit"}, {"<Ctrl>equal", "Zoom in"},
                          {"<Ctrl>minus", "Zoom out"}, {"<Ctrl>question", "Keyboard shortcuts"}});
    std::string toolGroup = "<child><object class=\"GtkShortcutsGroup\"><property name=\"title\">Tools</property>";
    const char *titles[] = {"Pan and select", "Arrow",  "Text",        "Rectangle", "Rounded rectangle", "Ellipse",
                            "Line",           "Marker", "Highlighter", "Stamp",     "Pixelate",          "Crop"};
    for (size_t index = 0; index < 12; ++index) toolGroup += shortcut(tools[index].c_str(), titles[index]);
    xml += toolGroup + "</object></child>";
    xml += "</object></child></object></interface>";

    GtkBuilder *builder = gtk_builder_new_from_string(xml.c_str(), -1);
    GtkWindow *window = GTK_WINDOW(g_object_ref(gtk_builder_get_object(builder, "window")));
    g_object_unref(builder);
    if (parent) gtk_window_set_transient_for(window, parent);
    return window;
}

}  // namespace marqen::edit
