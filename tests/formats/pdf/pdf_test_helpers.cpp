#include "formats/pdf/pdf_test_helpers.h"

#include <cairo-pdf.h>
#include <cairo.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>

#include "support/test_support.h"

namespace marqen::test {

void PDFBuilder::object(int number, const std::string &body, int generation) {
    offsets[number] = data.size();
    data += std::to_string(number) + " " + std::to_string(generation) + " obj\n" + body + "\nendobj\n";
}

void PDFBuilder::stream(int number, const std::string &dictionary, const std::string &content) {
    std::string body = dictionary;
    body.insert(body.size() - 2, " /Length " + std::to_string(content.size()));
    object(number, body + "\nstream\n" + content + "\nendstream");
}

std::string PDFBuilder::finishWithTable(const std::string &trailerEntries, const std::string &entryEnd,
                                        std::string lineEnd) {
    int highest = offsets.empty() ? 0 : offsets.rbegin()->first;
    xrefOffset = data.size();
    data += "xref" + lineEnd + "0 " + std::to_string(highest + 1) + lineEnd;
    char entry[32];
    std::snprintf(entry, sizeof entry, "%010d %05d f", 0, 65535);
    data += entry + entryEnd;
    for (int i = 1; i <= highest; ++i) {
        auto found = offsets.find(i);
        if (found == offsets.end()) {
            std::snprintf(entry, sizeof entry, "%010d %05d f", 0, 0);
        } else {
            std::snprintf(entry, sizeof entry, "%010zu %05d n", found->second, 0);
        }
        data += entry + entryEnd;
    }
    data += "trailer" + lineEnd + "<< /Size " + std::to_string(highest + 1) + " " + trailerEntries + " >>" + lineEnd +
            "startxref" + lineEnd + std::to_string(xrefOffset) + lineEnd + "%%EOF" + lineEnd;
    return data;
}

PDFBuilder PDFBuilder::simpleDocument(const std::string &content) {
    PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    builder.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
    builder.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] /Contents 4 0 R /Resources << >> >>");
    builder.stream(4, "<< >>", content);
    return builder;
}

std::string xrefStreamEntry(const std::vector<std::pair<uint64_t, int>> &fields) {
    std::string out;
    for (auto [value, width] : fields)
        for (int i = width - 1; i >= 0; --i) out += char(i >= 8 ? 0 : (value >> (8 * i)) & 0xFF);
    return out;
}

std::string flate(const std::string &data) {
    uLongf size = compressBound(data.size());
    std::string out(size, '\0');
    compress(reinterpret_cast<Bytef *>(out.data()), &size, reinterpret_cast<const Bytef *>(data.data()), data.size());
    out.resize(size);
    return out;
}

int runTool(const std::string &command, std::string *output) {
    TempDir dir;
    std::string full = command + " >" + (dir / "out").string() + " 2>&1 </dev/null";
    int status = std::system(full.c_str());
    if (output) *output = readFile(dir / "out");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool toolAvailable(const std::string &name) { return runTool("command -v " + name) == 0; }

void makeCairoPDF(const std::filesystem::path &path, int pages, double width, double height) {
    cairo_surface_t *surface = cairo_pdf_surface_create(path.c_str(), width, height);
    cairo_t *cr = cairo_create(surface);
    for (int i = 1; i <= pages; ++i) {
        cairo_set_source_rgb(cr, 0, 0, 0);
        cairo_select_font_face(cr, "Helvetica", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_font_size(cr, 24);
        cairo_move_to(cr, 40, 60);
        cairo_show_text(cr, ("Page " + std::to_string(i)).c_str());
        cairo_show_page(cr);
    }
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

void makeCairoOverlay(const std::filesystem::path &path, double width, double height) {
    cairo_surface_t *surface = cairo_pdf_surface_create(path.c_str(), width, height);
    cairo_t *cr = cairo_create(surface);
    cairo_set_source_rgb(cr, 1, 0, 0);
    cairo_rectangle(cr, 0, height * 0.4, width, height * 0.2);
    cairo_fill(cr);
    cairo_select_font_face(cr, "Helvetica", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    cairo_set_font_size(cr, 30);
    cairo_move_to(cr, 20, height * 0.8);
    cairo_show_text(cr, "Marqen");
    cairo_show_page(cr);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

void makeGhostscriptPDF(const std::filesystem::path &path, int pages) {
    std::filesystem::path ps = path;
    ps += ".ps";
    writeFile(ps, "%!PS\n<< /PageSize [612 792] >> setpagedevice\n/Helvetica findfont 24 scalefont setfont\n1 1 " +
                      std::to_string(pages) + " { /n exch def 72 700 moveto (Page ) show n 10 string cvs show "
                                              "showpage } for\n");
    if (runTool("gs -q -dNOPAUSE -dBATCH -sDEVICE=pdfwrite -o '" + path.string() + "' '" + ps.string() + "'") != 0)
        throw std::runtime_error("ghostscript failed");
}

double redShareOfPage(const std::filesystem::path &pdf, int page, const std::string &password) {
    TempDir dir;
    std::string prefix = (dir / "page").string();
    if (runTool("pdftoppm -f " + std::to_string(page) + " -l " + std::to_string(page) + " -singlefile -r 24 " +
                (password.empty() ? std::string() : "-upw '" + password + "' ") + "'" +
                pdf.string() + "' '" + prefix + "'") != 0)
        return -1;
    std::string ppm = readFile(prefix + ".ppm");
    std::istringstream header(ppm);
    std::string magic;
    int width = 0, height = 0, maximum = 0;
    header >> magic >> width >> height >> maximum;
    if (magic != "P6" || width <= 0 || height <= 0) return -1;
    size_t start = size_t(header.tellg()) + 1;
    size_t pixels = size_t(width) * size_t(height), red = 0;
    if (ppm.size() < start + pixels * 3) return -1;
    for (size_t i = 0; i < pixels; ++i) {
        auto r = static_cast<unsigned char>(ppm[start + 3 * i]);
        auto g = static_cast<unsigned char>(ppm[start + 3 * i + 1]);
        auto b = static_cast<unsigned char>(ppm[start + 3 * i + 2]);
        if (r > 200 && g < 80 && b < 80) ++red;
    }
    return double(red) / double(pixels);
}

int popplerPageCount(const std::filesystem::path &pdf, const std::string &password) {
    std::string output;
    std::string upw = password.empty() ? std::string() : "-upw '" + password + "' ";
    if (runTool("pdfinfo " + upw + "'" + pdf.string() + "'", &output) != 0) return -1;
    auto at = output.find("Pages:");
    if (at == std::string::npos) return -1;
    return std::atoi(output.c_str() + at + 6);
}

}  // namespace marqen::test
