#include "editor_window.h"

#include <cmath>
#include <cstring>
#include <vector>
#include <memory>
#include <string>

#include <marqenkit/dom/document.h>
#include <marqenkit/foundation/json.h>
#include <marqenkit/foundation/log.h>
#include <marqenkit/interaction/document_view.h>
#include <marqenkit/interaction/preferences.h>

#include "editor_file.h"
#include "shortcuts_window.h"

namespace marqen::edit {

namespace {

constexpr const char *kApplicationName = "MarqenEdit";
constexpr const char *kLastSessionKey = "editorLastSession";

struct EditorState {
    std::unique_ptr<EditorFile> file;
    GtkWidget *stack = nullptr;
    GtkWidget *view = nullptr;
    GtkWidget *composition = nullptr;
    GtkWidget *toolBar = nullptr;
    GtkWidget *propertyBar = nullptr;
    GtkWidget *title = nullptr, *subtitle = nullptr;
    GtkWidget *zoomLabel = nullptr;
    GMenu *historySection = nullptr;
    bool closeConfirmed = false;
    bool exportSummaryPage = false;
};

EditorState *stateOf(GtkWindow *window) {
    return static_cast<EditorState *>(g_object_get_data(G_OBJECT(window), "marqen-editor-state"));
}

MarqenGtkDocumentView *viewOf(GtkWindow *window) { return MARQEN_GTK_DOCUMENT_VIEW(stateOf(window)->view); }

// The file's pages with one undo history: a file the facade opened through its composition, a document
// JSON file as its pages.
void showFilePages(EditorState &state, const EditorFile &file) {
    auto *pages = MARQEN_GTK_COMPOSITION_VIEW(state.composition);
    if (file.document && file.document->documentComposition())
        marqen_gtk_composition_view_set_composition(pages, file.document->documentComposition());
    else
        marqen_gtk_composition_view_set_pages(pages, file.pages);
}

// Unsaved changes on any page of the file.
bool isModified(GtkWindow *window) {
    EditorState &state = *stateOf(window);
    return state.file && state.file->needsSave();
}

void setGError(GError **error, const MarqenError &failure, const std::filesystem::path &path) {
    std::string message = failure.localizedDescription();
    if (message.empty()) message = failure.description();
    g_set_error(error, g_quark_from_static_string("marqen-edit-error-quark"), int(failure.code), "%s: %s",
                path.filename().c_str(), message.c_str());
}

void showError(GtkWindow *window, const char *heading, const char *detail) {
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    GtkWidget *dialog = gtk_message_dialog_new(window, GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT),
                                               GTK_MESSAGE_ERROR, GTK_BUTTONS_CLOSE, "%s", heading);
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(dialog), "%s", detail);
    g_signal_connect(dialog, "response", G_CALLBACK(gtk_window_destroy), nullptr);
    G_GNUC_END_IGNORE_DEPRECATIONS
    gtk_window_present(GTK_WINDOW(dialog));
}

// ---- showing the state ----

void updateTitle(GtkWindow *window) {
    EditorState &state = *stateOf(window);
    const bool modified = isModified(window);
    std::string name = state.file ? state.file->path.filename().string() : std::string("New Document");
    std::string folder;
    if (state.file) {
        gchar *display = g_filename_display_name(state.file->path.parent_path().c_str());
        const char *home = g_get_home_dir();
        folder = display;
        if (home && folder.rfind(home, 0) == 0) folder = "~" + folder.substr(strlen(home));
        g_free(display);
    }
    const std::string shown = (modified ? "• " : "") + name;
    gtk_label_set_text(GTK_LABEL(state.title), shown.c_str());
    gtk_label_set_text(GTK_LABEL(state.subtitle), folder.c_str());
    gtk_widget_set_visible(state.subtitle, !folder.empty());
    gtk_window_set_title(window, state.file ? (shown + " — " + kApplicationName).c_str() : kApplicationName);
}

void setActionEnabled(GtkWindow *window, const char *name, bool enabled) {
    if (GAction *action = g_action_map_lookup_action(G_ACTION_MAP(window), name))
        g_simple_action_set_enabled(G_SIMPLE_ACTION(action), enabled);
}

void updateHistory(GtkWindow *window) {
    EditorState &state = *stateOf(window);
    auto *view = viewOf(window);
    g_autofree char *undoName = marqen_gtk_document_view_dup_undo_name(view);
    g_autofree char *redoName = marqen_gtk_document_view_dup_redo_name(view);
    const std::string undo = undoName && *undoName ? std::string("Undo ") + undoName : "Undo";
    const std::string redo = redoName && *redoName ? std::string("Redo ") + redoName : "Redo";
    g_menu_remove_all(state.historySection);
    g_menu_append(state.historySection, undo.c_str(), "win.undo");
    g_menu_append(state.historySection, redo.c_str(), "win.redo");
    const bool open = marqen_gtk_document_view_has_document(view);
    setActionEnabled(window, "undo", marqen_gtk_document_view_can_undo(view));
    setActionEnabled(window, "redo", marqen_gtk_document_view_can_redo(view));
    for (const char *name : {"save", "save-as", "export", "zoom-fit", "zoom-original", "zoom-in", "zoom-out", "select-all"})
        setActionEnabled(window, name, open);
    setActionEnabled(window, "delete", marqen_gtk_document_view_has_selection(view));
    updateTitle(window);
}

void updateZoomLabel(GtkWindow *window) {
    EditorState &state = *stateOf(window);
    const int percent = int(std::lround(marqen_gtk_document_view_get_zoom(viewOf(window)) * 100));
    gtk_button_set_label(GTK_BUTTON(state.zoomLabel), (std::to_string(percent) + " %").c_str());
}

// ---- files ----

void exportChosen(GtkWindow *window, const std::filesystem::path &path);

void runFileChooser(GtkWindow *window, GtkFileChooserAction mode, const char *title, const std::string &suggestedName,
                    void (*done)(GtkWindow *, const std::filesystem::path &)) {
    GtkFileChooserNative *chooser = gtk_file_chooser_native_new(title, window, mode, nullptr, nullptr);
    gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(chooser), TRUE);
    if (mode == GTK_FILE_CHOOSER_ACTION_OPEN) {
        GtkFileFilter *filter = gtk_file_filter_new();
        gtk_file_filter_set_name(filter, "Pictures and documents");
        gtk_file_filter_add_mime_type(filter, "image/*");
        gtk_file_filter_add_mime_type(filter, "application/pdf");
        gtk_file_filter_add_pattern(filter, "*.json");
        gtk_file_filter_add_pattern(filter, "*.marqen");
        gtk_file_chooser_add_filter(GTK_FILE_CHOOSER(chooser), filter);
        g_object_unref(filter);
    } else if (!suggestedName.empty()) {
        gtk_file_chooser_set_current_name(GTK_FILE_CHOOSER(chooser), suggestedName.c_str());
    }
    if (done == exportChosen)
        gtk_file_chooser_add_choice(GTK_FILE_CHOOSER(chooser), "summary", "Begin PDFs with a summary page", nullptr, nullptr);
    g_object_set_data(G_OBJECT(chooser), "marqen-done", reinterpret_cast<gpointer>(done));
    g_signal_connect(chooser, "response", G_CALLBACK(+[](GtkNativeDialog *dialog, int response, GtkWindow *parent) {
        auto finish = reinterpret_cast<void (*)(GtkWindow *, const std::filesystem::path &)>(
            g_object_get_data(G_OBJECT(dialog), "marqen-done"));
        if (response == GTK_RESPONSE_ACCEPT) {
            if (const char *summary = gtk_file_chooser_get_choice(GTK_FILE_CHOOSER(dialog), "summary"))
                stateOf(parent)->exportSummaryPage = g_strcmp0(summary, "true") == 0;
            GFile *file = gtk_file_chooser_get_file(GTK_FILE_CHOOSER(dialog));
            if (file) {
                if (char *path = g_file_get_path(file)) {
                    finish(parent, path);
                    g_free(path);
                }
                g_object_unref(file);
            }
        }
        g_object_unref(dialog);
    }), window);
    gtk_native_dialog_show(GTK_NATIVE_DIALOG(chooser));
}

void openPath(GtkWindow *window, const std::filesystem::path &path) {
    // A window with unsaved work keeps it: the file opens in a window of its own.
    GtkWindow *target = window;
    if (isModified(window))
        target = createEditorWindow(gtk_window_get_application(window));
    GError *error = nullptr;
    if (!editorWindowOpen(target, path, &error)) {
        showError(target, "The file could not be opened", error ? error->message : "");
        g_clear_error(&error);
    }
}

void saveAsChosen(GtkWindow *window, const std::filesystem::path &path) {
    GError *error = nullptr;
    if (!editorWindowSaveAs(window, path, &error)) {
        showError(window, "The document could not be saved", error ? error->message : "");
        g_clear_error(&error);
    }
}

void exportChosen(GtkWindow *window, const std::filesystem::path &path) {
    EditorState &state = *stateOf(window);
    MarqenError failure;
    std::filesystem::path target = path;
    if (target.extension().empty()) target += ".png";
    auto format = formatForExport(target, state.exportSummaryPage);
    if (!format) failure.userInfo[kMarqenLocalizedDescriptionKey] = "choose a name ending in a picture type or .pdf";
    if (!state.file || !format || !saveEditorFile(*state.file, target, format, &failure)) {
        GError *error = nullptr;
        setGError(&error, failure, target);
        showError(window, "The picture could not be exported", error->message);
        g_error_free(error);
    }
}

// ---- actions ----

void onAction(GSimpleAction *action, GVariant *, gpointer data) {
    auto *window = GTK_WINDOW(data);
    EditorState &state = *stateOf(window);
    GtkWidget *view = state.view;
    const std::string name = g_action_get_name(G_ACTION(action));
    if (name == "open") runFileChooser(window, GTK_FILE_CHOOSER_ACTION_OPEN, "Open", {}, openPath);
    else if (name == "save") {
        if (state.file && (state.file->isDocumentJSON() || inPlaceFormat(*state.file))) {
            GError *error = nullptr;
            if (!editorWindowSave(window, &error)) {
                showError(window, "The document could not be saved", error ? error->message : "");
                g_clear_error(&error);
            }
        } else if (state.file) {
            runFileChooser(window, GTK_FILE_CHOOSER_ACTION_SAVE, "Save", suggestedSaveName(*state.file), saveAsChosen);
        }
    } else if (name == "save-as") {
        if (state.file) runFileChooser(window, GTK_FILE_CHOOSER_ACTION_SAVE, "Save As", suggestedSaveName(*state.file), saveAsChosen);
    } else if (name == "export") {
        if (state.file)
            runFileChooser(window, GTK_FILE_CHOOSER_ACTION_SAVE, "Export", state.file->path.stem().string() + ".png", exportChosen);
    } else if (name == "close") gtk_window_close(window);
    else if (name == "shortcuts") {
        const bool typing = MarqenPreferences::shared().typingCreatesTextAnnotation();
        gtk_window_present(createShortcutsWindow(window, typing));
    } else if (name == "about") {
        gtk_show_about_dialog(window, "program-name", kApplicationName, "logo-icon-name", "image-x-generic",
                              "comments", "Annotate pictures with arrows, shapes, text and stamps", "license-type",
                              GTK_LICENSE_CUSTOM, nullptr);
    } else {
        // The rest are the document view's own commands.
        const std::string viewAction = "document-view." + name;
        gtk_widget_activate_action(view, viewAction.c_str(), nullptr);
    }
}

// Keeps the facade's archive of the window's document and the file it belongs to, for the next start.
void rememberSession(GtkWindow *window) {
    EditorState &state = *stateOf(window);
    if (!state.file || !state.file->document) return;
    MarqenJSON session = MarqenJSON::object();
    session["archive"] = state.file->document->encodeWithCoder();
    session["path"] = state.file->path.string();
    MarqenPreferences::shared().store().setString(kLastSessionKey, session.dump());
}

gboolean onCloseRequest(GtkWindow *window, gpointer) {
    EditorState &state = *stateOf(window);
    if (!state.closeConfirmed && !isModified(window)) rememberSession(window);
    if (state.closeConfirmed || !isModified(window)) return FALSE;
    const std::string name = state.file ? state.file->path.filename().string() : std::string("the document");
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    GtkWidget *dialog = gtk_message_dialog_new(window, GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT),
                                               GTK_MESSAGE_QUESTION, GTK_BUTTONS_NONE, "Save changes to “%s” before closing?",
                                               name.c_str());
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(dialog), "Your changes will be lost if you do not save them.");
    GtkWidget *discard = gtk_dialog_add_button(GTK_DIALOG(dialog), "Close _Without Saving", GTK_RESPONSE_REJECT);
    gtk_widget_add_css_class(discard, "destructive-action");
    gtk_dialog_add_button(GTK_DIALOG(dialog), "_Cancel", GTK_RESPONSE_CANCEL);
    GtkWidget *save = gtk_dialog_add_button(GTK_DIALOG(dialog), "_Save", GTK_RESPONSE_ACCEPT);
    gtk_widget_add_css_class(save, "suggested-action");
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_ACCEPT);
    g_signal_connect(dialog, "response", G_CALLBACK(+[](GtkDialog *dialog, int response, GtkWindow *parent) {
        gtk_window_destroy(GTK_WINDOW(dialog));
        EditorState &state = *stateOf(parent);
        if (response == GTK_RESPONSE_REJECT) {
            state.closeConfirmed = true;
            gtk_window_close(parent);
        } else if (response == GTK_RESPONSE_ACCEPT) {
            if (state.file && (state.file->isDocumentJSON() || inPlaceFormat(*state.file))) {
                GError *error = nullptr;
                if (editorWindowSave(parent, &error)) {
                    gtk_window_close(parent);
                } else {
                    showError(parent, "The document could not be saved", error ? error->message : "");
                    g_clear_error(&error);
                }
            } else {
                gtk_widget_activate_action(GTK_WIDGET(parent), "win.save", nullptr);
            }
        }
    }), window);
    G_GNUC_END_IGNORE_DEPRECATIONS
    gtk_window_present(GTK_WINDOW(dialog));
    return TRUE;
}

// ---- building ----

GtkWidget *iconButton(const char *icon, const char *tooltip, const char *action) {
    GtkWidget *button = gtk_button_new_from_icon_name(icon);
    gtk_widget_set_tooltip_text(button, tooltip);
    gtk_actionable_set_action_name(GTK_ACTIONABLE(button), action);
    return button;
}

GtkWidget *emptyPage() {
    GtkWidget *page = gtk_box_new(GTK_ORIENTATION_VERTICAL, 12);
    gtk_widget_set_valign(page, GTK_ALIGN_CENTER);
    gtk_widget_set_halign(page, GTK_ALIGN_CENTER);
    GtkWidget *icon = gtk_image_new_from_icon_name("image-x-generic-symbolic");
    gtk_image_set_pixel_size(GTK_IMAGE(icon), 96);
    gtk_widget_add_css_class(icon, "dim-label");
    gtk_widget_set_margin_bottom(icon, 12);
    GtkWidget *title = gtk_label_new("Annotate a Picture");
    gtk_widget_add_css_class(title, "title-1");
    GtkWidget *description = gtk_label_new("Open a picture or a document, or drop one here");
    gtk_widget_add_css_class(description, "dim-label");
    GtkWidget *open = gtk_button_new_with_mnemonic("_Open…");
    gtk_actionable_set_action_name(GTK_ACTIONABLE(open), "win.open");
    gtk_widget_add_css_class(open, "suggested-action");
    gtk_widget_add_css_class(open, "pill");
    gtk_widget_set_halign(open, GTK_ALIGN_CENTER);
    gtk_widget_set_margin_top(open, 12);
    for (GtkWidget *child : {icon, title, description, open}) gtk_box_append(GTK_BOX(page), child);
    return page;
}

void installStyle() {
    static bool installed = false;
    if (installed) return;
    installed = true;
    GtkCssProvider *provider = gtk_css_provider_new();
    gtk_css_provider_load_from_data(provider,
                                    "marqen-document-view { background-color: shade(@theme_bg_color, 0.96); }\n"
                                    ".marqen-bars { padding: 3px 6px; border-bottom: 1px solid alpha(black, 0.12); }\n"
                                    ".marqen-zoom { margin: 12px; }\n"
                                    ".marqen-zoom > button { min-width: 34px; }\n",
                                    -1);
    gtk_style_context_add_provider_for_display(gdk_display_get_default(), GTK_STYLE_PROVIDER(provider),
                                               GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    g_object_unref(provider);
}

}  // namespace

GtkApplication *createEditorApplication() {
    GtkApplication *application = gtk_application_new("com.brondale.MarqenEdit", G_APPLICATION_HANDLES_OPEN);
    g_set_application_name(kApplicationName);
    g_signal_connect(application, "startup", G_CALLBACK(+[](GApplication *app) {
        // The editor's default: letters choose tools until the user asks typing to start a text.
        auto &preferences = MarqenPreferences::shared();
        if (!preferences.store().stringForKey(kMarqenPreferenceTypingCreatesTextAnnotation))
            preferences.setBool(kMarqenPreferenceTypingCreatesTextAnnotation, false);
        struct Accelerator {
            const char *action;
            std::initializer_list<const char *> keys;
        };
        for (const Accelerator &entry : std::initializer_list<Accelerator>{
                 {"win.open", {"<Control>o"}},         {"win.save", {"<Control>s"}},
                 {"win.save-as", {"<Control><Shift>s"}}, {"win.export", {"<Control>e"}},
                 {"app.quit", {"<Control>q"}},         {"win.close", {"<Control>w"}},
                 {"win.undo", {"<Control>z"}},         {"win.redo", {"<Control><Shift>z"}},
                 {"win.copy", {"<Control>c"}},         {"win.cut", {"<Control>x"}},
                 {"win.paste", {"<Control>v"}},        {"win.select-all", {"<Control>a"}},
                 {"win.zoom-original", {"<Control>0"}}, {"win.zoom-fit", {"<Control>9"}},
                 {"win.zoom-in", {"<Control>equal", "<Control>plus"}}, {"win.zoom-out", {"<Control>minus"}},
                 {"win.shortcuts", {"<Control>question"}}}) {
            std::vector<const char *> keys(entry.keys);
            keys.push_back(nullptr);
            gtk_application_set_accels_for_action(GTK_APPLICATION(app), entry.action, keys.data());
        }
        GSimpleAction *quit = g_simple_action_new("quit", nullptr);
        g_signal_connect_swapped(quit, "activate", G_CALLBACK(+[](GApplication *application) {
            // Each window asks about its own unsaved work.
            GList *windows = g_list_copy(gtk_application_get_windows(GTK_APPLICATION(application)));
            for (GList *item = windows; item; item = item->next) gtk_window_close(GTK_WINDOW(item->data));
            g_list_free(windows);
        }), app);
        g_action_map_add_action(G_ACTION_MAP(app), G_ACTION(quit));
        g_object_unref(quit);
    }), nullptr);
    g_signal_connect(application, "activate", G_CALLBACK(+[](GApplication *app) {
        if (!restoreLastSession(GTK_APPLICATION(app))) createEditorWindow(GTK_APPLICATION(app));
    }), nullptr);
    g_signal_connect(application, "open", G_CALLBACK(+[](GApplication *app, GFile **files, int count, const char *) {
        for (int index = 0; index < count; ++index) {
            GtkWindow *window = createEditorWindow(GTK_APPLICATION(app));
            char *path = g_file_get_path(files[index]);
            GError *error = nullptr;
            if (path && !editorWindowOpen(window, path, &error)) {
                showError(window, "The file could not be opened", error ? error->message : "");
                g_clear_error(&error);
            }
            g_free(path);
        }
    }), nullptr);
    return application;
}

GtkWindow *createEditorWindow(GtkApplication *application) {
    installStyle();
    GtkWindow *window = GTK_WINDOW(gtk_application_window_new(application));
    auto *state = new EditorState;
    g_object_set_data_full(G_OBJECT(window), "marqen-editor-state", state, [](gpointer data) {
        auto *editor = static_cast<EditorState *>(data);
        if (editor->historySection) g_object_unref(editor->historySection);
        delete editor;
    });
    gtk_window_set_default_size(window, 1000, 700);

    // Actions: the file commands here, the editing ones forwarded to the view.
    for (const char *name : {"open", "save", "save-as", "export", "close", "shortcuts", "about", "undo", "redo", "copy",
                             "cut", "paste", "delete", "select-all", "zoom-fit", "zoom-original", "zoom-in", "zoom-out"}) {
        GSimpleAction *action = g_simple_action_new(name, nullptr);
        g_signal_connect(action, "activate", G_CALLBACK(onAction), window);
        g_action_map_add_action(G_ACTION_MAP(window), G_ACTION(action));
        g_object_unref(action);
    }

    // Header bar.
    GtkWidget *header = gtk_header_bar_new();
    GtkWidget *titleBox = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_widget_set_valign(titleBox, GTK_ALIGN_CENTER);
    state->title = gtk_label_new(kApplicationName);
    gtk_widget_add_css_class(state->title, "title");
    gtk_label_set_ellipsize(GTK_LABEL(state->title), PANGO_ELLIPSIZE_MIDDLE);
    state->subtitle = gtk_label_new("");
    gtk_widget_add_css_class(state->subtitle, "subtitle");
    gtk_label_set_ellipsize(GTK_LABEL(state->subtitle), PANGO_ELLIPSIZE_MIDDLE);
    gtk_box_append(GTK_BOX(titleBox), state->title);
    gtk_box_append(GTK_BOX(titleBox), state->subtitle);
    gtk_header_bar_set_title_widget(GTK_HEADER_BAR(header), titleBox);
    GtkWidget *open = gtk_button_new_with_mnemonic("_Open");
    gtk_actionable_set_action_name(GTK_ACTIONABLE(open), "win.open");
    gtk_widget_set_tooltip_text(open, "Open a picture or document (Ctrl+O)");
    gtk_header_bar_pack_start(GTK_HEADER_BAR(header), open);
    GtkWidget *history = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_widget_add_css_class(history, "linked");
    gtk_box_append(GTK_BOX(history), iconButton("edit-undo-symbolic", "Undo (Ctrl+Z)", "win.undo"));
    gtk_box_append(GTK_BOX(history), iconButton("edit-redo-symbolic", "Redo (Ctrl+Shift+Z)", "win.redo"));
    gtk_header_bar_pack_start(GTK_HEADER_BAR(header), history);

    GMenu *menu = g_menu_new();
    state->historySection = g_menu_new();
    g_menu_append_section(menu, nullptr, G_MENU_MODEL(state->historySection));
    GMenu *files = g_menu_new();
    g_menu_append(files, "_Save", "win.save");
    g_menu_append(files, "Save _As…", "win.save-as");
    g_menu_append(files, "_Export…", "win.export");
    g_menu_append_section(menu, nullptr, G_MENU_MODEL(files));
    GMenu *zoom = g_menu_new();
    g_menu_append(zoom, "Zoom to _Fit", "win.zoom-fit");
    g_menu_append(zoom, "_Actual Size", "win.zoom-original");
    g_menu_append_section(menu, nullptr, G_MENU_MODEL(zoom));
    GMenu *help = g_menu_new();
    g_menu_append(help, "_Keyboard Shortcuts", "win.shortcuts");
    g_menu_append(help, "_About MarqenEdit", "win.about");
    g_menu_append_section(menu, nullptr, G_MENU_MODEL(help));
    GtkWidget *menuButton = gtk_menu_button_new();
    gtk_menu_button_set_icon_name(GTK_MENU_BUTTON(menuButton), "open-menu-symbolic");
    gtk_menu_button_set_menu_model(GTK_MENU_BUTTON(menuButton), G_MENU_MODEL(menu));
    gtk_widget_set_tooltip_text(menuButton, "Main Menu");
    gtk_header_bar_pack_end(GTK_HEADER_BAR(header), menuButton);
    GtkWidget *save = gtk_button_new_with_mnemonic("_Save");
    gtk_actionable_set_action_name(GTK_ACTIONABLE(save), "win.save");
    gtk_widget_set_tooltip_text(save, "Save (Ctrl+S)");
    gtk_header_bar_pack_end(GTK_HEADER_BAR(header), save);
    for (GMenu *section : {files, zoom, help, menu}) g_object_unref(section);
    gtk_window_set_titlebar(window, header);

    // Tool and property bars over the page.
    GtkWidget *content = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    GtkWidget *bars = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12);
    gtk_widget_add_css_class(bars, "marqen-bars");
    state->composition = marqen_gtk_composition_view_new();
    state->view = GTK_WIDGET(marqen_gtk_composition_view_get_document_view(MARQEN_GTK_COMPOSITION_VIEW(state->composition)));
    state->toolBar = marqen_tool_bar_new();
    marqen_tool_bar_set_optional_tools(MARQEN_TOOL_BAR(state->toolBar), TRUE, TRUE);
    marqen_gtk_document_view_set_tool_bar(MARQEN_GTK_DOCUMENT_VIEW(state->view), MARQEN_TOOL_BAR(state->toolBar));
    state->propertyBar = marqen_property_bar_new(MARQEN_GTK_DOCUMENT_VIEW(state->view));
    gtk_widget_set_hexpand(state->toolBar, TRUE);
    gtk_widget_set_halign(state->propertyBar, GTK_ALIGN_END);
    gtk_box_append(GTK_BOX(bars), state->toolBar);
    gtk_box_append(GTK_BOX(bars), state->propertyBar);
    gtk_box_append(GTK_BOX(content), bars);

    GtkWidget *overlay = gtk_overlay_new();
    gtk_overlay_set_child(GTK_OVERLAY(overlay), state->composition);
    GtkWidget *zoomBox = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_widget_add_css_class(zoomBox, "osd");
    gtk_widget_add_css_class(zoomBox, "linked");
    gtk_widget_add_css_class(zoomBox, "marqen-zoom");
    gtk_widget_set_halign(zoomBox, GTK_ALIGN_END);
    gtk_widget_set_valign(zoomBox, GTK_ALIGN_END);
    gtk_box_append(GTK_BOX(zoomBox), iconButton("zoom-out-symbolic", "Zoom Out (Ctrl+−)", "win.zoom-out"));
    state->zoomLabel = gtk_button_new_with_label("100 %");
    gtk_actionable_set_action_name(GTK_ACTIONABLE(state->zoomLabel), "win.zoom-fit");
    gtk_widget_set_tooltip_text(state->zoomLabel, "Zoom to Fit (Ctrl+9)");
    gtk_box_append(GTK_BOX(zoomBox), state->zoomLabel);
    gtk_box_append(GTK_BOX(zoomBox), iconButton("zoom-in-symbolic", "Zoom In (Ctrl+=)", "win.zoom-in"));
    gtk_overlay_add_overlay(GTK_OVERLAY(overlay), zoomBox);
    gtk_box_append(GTK_BOX(content), overlay);
    gtk_widget_set_vexpand(overlay, TRUE);

    state->stack = gtk_stack_new();
    gtk_stack_add_named(GTK_STACK(state->stack), emptyPage(), "empty");
    gtk_stack_add_named(GTK_STACK(state->stack), content, "document");
    gtk_stack_set_visible_child_name(GTK_STACK(state->stack), "empty");
    gtk_window_set_child(window, state->stack);

    // Files dropped on the window open as Open would.
    GtkDropTarget *drop = gtk_drop_target_new(GDK_TYPE_FILE_LIST, GDK_ACTION_COPY);
    g_signal_connect(drop, "drop", G_CALLBACK(+[](GtkDropTarget *, const GValue *value, double, double, GtkWindow *target) -> gboolean {
        auto *list = static_cast<GdkFileList *>(g_value_get_boxed(value));
        GSList *files = list ? gdk_file_list_get_files(list) : nullptr;
        bool opened = false;
        for (GSList *item = files; item && !opened; item = item->next) {
            if (char *path = g_file_get_path(G_FILE(item->data))) {
                openPath(target, path);
                opened = true;
                g_free(path);
            }
        }
        g_slist_free(files);
        return opened;
    }), window);
    gtk_widget_add_controller(GTK_WIDGET(window), GTK_EVENT_CONTROLLER(drop));

    g_signal_connect_object(state->view, "changed", G_CALLBACK(updateHistory), window, G_CONNECT_SWAPPED);
    // Files that are not pictures, dropped on the page, open as they would dropped anywhere else.
    g_signal_connect_object(state->view, "file-dropped", G_CALLBACK(+[](MarqenGtkDocumentView *, const char *path, GtkWindow *target) -> gboolean {
        openPath(target, path);
        return TRUE;
    }), window, GConnectFlags(0));
    g_signal_connect_object(state->view, "selection-changed", G_CALLBACK(updateHistory), window, G_CONNECT_SWAPPED);
    g_signal_connect_object(state->view, "notify::zoom", G_CALLBACK(updateZoomLabel), window, G_CONNECT_SWAPPED);
    g_signal_connect(window, "close-request", G_CALLBACK(onCloseRequest), nullptr);
    updateHistory(window);
    gtk_window_present(window);
    return window;
}

gboolean editorWindowOpen(GtkWindow *window, const std::filesystem::path &path, GError **error) {
    EditorState &state = *stateOf(window);
    MarqenError failure;
    auto file = openEditorFile(path, &failure);
    if (!file) {
        setGError(error, failure, path);
        return FALSE;
    }
    // The view lets go of the old pages before the file that owns them goes.
    showFilePages(state, *file);
    state.file = std::move(file);
    gtk_stack_set_visible_child_name(GTK_STACK(state.stack), "document");
    gtk_widget_grab_focus(state.view);
    updateHistory(window);
    updateZoomLabel(window);
    return TRUE;
}

namespace {

gboolean writeFile(GtkWindow *window, const std::filesystem::path &path, const std::optional<MarqenExportFormat> &format,
                   GError **error) {
    EditorState &state = *stateOf(window);
    auto *view = viewOf(window);
    // A text being typed goes in before the page is written.
    if (auto *controller = marqen_gtk_document_view_get_controller(view); controller && controller->isEditingText())
        controller->endTextEditing();
    MarqenError failure;
    if (!saveEditorFile(*state.file, path, format, &failure)) {
        setGError(error, failure, path);
        return FALSE;
    }
    // Saved editable (the document embedded, or JSON): from now on this is the window's file.
    if (!format || format->isDOMEmbedded()) {
        state.file->path = path;
        if (format) state.file->format = format;
        state.file->markSaved();
        marqen_gtk_document_view_mark_saved(view);
    }
    updateHistory(window);
    return TRUE;
}

}  // namespace

gboolean editorWindowSave(GtkWindow *window, GError **error) {
    EditorState &state = *stateOf(window);
    if (!state.file) {
        g_set_error_literal(error, g_quark_from_static_string("marqen-edit-error-quark"), 2, "nothing is open");
        return FALSE;
    }
    if (state.file->isDocumentJSON()) return writeFile(window, state.file->path, std::nullopt, error);
    auto format = inPlaceFormat(*state.file);
    if (!format) {
        g_set_error_literal(error, g_quark_from_static_string("marqen-edit-error-quark"), 2,
                            "this type of file cannot keep the annotations editable: save it under a new name");
        return FALSE;
    }
    return writeFile(window, state.file->path, format, error);
}

gboolean editorWindowSaveAs(GtkWindow *window, const std::filesystem::path &path, GError **error) {
    EditorState &state = *stateOf(window);
    if (!state.file) return FALSE;
    auto format = formatForSaveAs(*state.file, path);
    std::string extension = path.extension().string();
    for (auto &c : extension) c = char(std::tolower(static_cast<unsigned char>(c)));
    if (state.file->isDocumentJSON() ? extension != ".json" : !format) {
        g_set_error_literal(error, g_quark_from_static_string("marqen-edit-error-quark"), 3,
                            state.file->isDocumentJSON() ? "a document JSON file is saved as .json (Export writes pictures)"
                                                         : "choose a name ending in .png, .jpg, .heic or .pdf");
        return FALSE;
    }
    return writeFile(window, path, state.file->isDocumentJSON() ? std::nullopt : format, error);
}

GtkWindow *restoreLastSession(GtkApplication *application) {
    auto stored = MarqenPreferences::shared().store().stringForKey(kLastSessionKey);
    if (!stored) return nullptr;
    MarqenJSON session = MarqenJSON::parse(*stored, nullptr, false);
    if (!session.is_object() || !session.contains("archive") || !session.contains("path") || !session["path"].is_string())
        return nullptr;
    MarqenError failure;
    auto document = CoreMarqenDocument::initWithCoder(session["archive"], &failure);
    auto file = restoredEditorFile(std::move(document), session["path"].get<std::string>());
    if (!file) {
        marqenLog("The last session could not be restored: " + failure.description());
        return nullptr;
    }
    GtkWindow *window = createEditorWindow(application);
    EditorState &state = *stateOf(window);
    showFilePages(state, *file);
    state.file = std::move(file);
    gtk_stack_set_visible_child_name(GTK_STACK(state.stack), "document");
    gtk_widget_grab_focus(state.view);
    updateHistory(window);
    updateZoomLabel(window);
    return window;
}

MarqenGtkDocumentView *editorWindowDocumentView(GtkWindow *window) { return viewOf(window); }
MarqenGtkCompositionView *editorWindowCompositionView(GtkWindow *window) {
    return MARQEN_GTK_COMPOSITION_VIEW(stateOf(window)->composition);
}
MarqenToolBar *editorWindowToolBar(GtkWindow *window) { return MARQEN_TOOL_BAR(stateOf(window)->toolBar); }
MarqenPropertyBar *editorWindowPropertyBar(GtkWindow *window) { return MARQEN_PROPERTY_BAR(stateOf(window)->propertyBar); }

}  // namespace marqen::edit
