// The drawing module: pages drawn by Cairo, texts laid out by Pango, which finds a font for each
// alphabet. It knows the program by the page's description alone.
#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <pango/pangocairo.h>

#include <memory>
#include <new>
#include <string_view>

#include "cli/pictures/drawing.h"

namespace lumo::cli {
namespace {

constexpr double pointsPerDot = 0.75;  // 96 dots and 72 points an inch
constexpr const char* fontFamily = "DejaVu Sans, sans-serif";

template <auto release>
struct Release {
    template <class Object>
    void operator()(Object* object) const {
        release(object);
    }
};
using Surface = std::unique_ptr<cairo_surface_t, Release<cairo_surface_destroy>>;
using Context = std::unique_ptr<cairo_t, Release<cairo_destroy>>;
using Layout = std::unique_ptr<PangoLayout, Release<g_object_unref>>;
using Font = std::unique_ptr<PangoFontDescription, Release<pango_font_description_free>>;

bool hasFonts() {
    PangoFontFamily** families = nullptr;
    int count = 0;
    pango_font_map_list_families(pango_cairo_font_map_get_default(), &families, &count);
    g_free(families);
    return count > 0;
}

Surface surfaceOf(const Drawing& drawing, const char* file, std::string_view format) {
    const double width = drawing.width * pointsPerDot, height = drawing.height * pointsPerDot;
    if (format == "svg") return Surface(cairo_svg_surface_create(file, width, height));
    if (format == "pdf") return Surface(cairo_pdf_surface_create(file, width, height));
    return Surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(drawing.width),
                                              static_cast<int>(drawing.height)));
}

void setColour(cairo_t* to, Colour colour, double opacity = 1) {
    const auto part = [colour](int shift) { return (colour >> shift & 0xFF) / 255.0; };
    cairo_set_source_rgba(to, part(16), part(8), part(0), opacity);
}

void follow(cairo_t* to, const std::vector<Point>& points) {
    cairo_new_path(to);
    for (const Point& point : points) cairo_line_to(to, point.x, point.y);
}

void draw(cairo_t* to, const Line& line) {
    constexpr double dashes[] = {6, 4};
    follow(to, line.points);
    setColour(to, line.colour);
    cairo_set_line_width(to, line.width);
    cairo_set_line_join(to, CAIRO_LINE_JOIN_ROUND);
    cairo_set_dash(to, dashes, line.dashed ? 2 : 0, 0);
    cairo_stroke(to);
}

void draw(cairo_t* to, const Area& area) {
    follow(to, area.points);
    cairo_close_path(to);
    setColour(to, area.colour, area.opacity);
    cairo_fill(to);
}

void draw(cairo_t* to, const Text& text) {
    const Layout layout(pango_cairo_create_layout(to));
    const Font font(pango_font_description_from_string(fontFamily));
    pango_font_description_set_absolute_size(font.get(), text.size * PANGO_SCALE);
    if (text.bold) pango_font_description_set_weight(font.get(), PANGO_WEIGHT_BOLD);
    pango_layout_set_font_description(layout.get(), font.get());
    // A text from a file may hold anything; what is no UTF-8 shows as its replacement character.
    char* valid = g_utf8_make_valid(text.text.c_str(), static_cast<gssize>(text.text.size()));
    pango_layout_set_text(layout.get(), valid, -1);
    g_free(valid);
    if (text.mostWidth > 0) {
        pango_layout_set_width(layout.get(), static_cast<int>(text.mostWidth * PANGO_SCALE));
        pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
        pango_layout_set_height(layout.get(), -text.mostLines);
        pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_END);
    }
    PangoRectangle whole, line;
    pango_layout_get_pixel_extents(layout.get(), nullptr, &whole);
    pango_layout_line_get_pixel_extents(pango_layout_get_line_readonly(layout.get(), 0), nullptr,
                                        &line);
    constexpr double shares[] = {0, 0.5, 1};
    cairo_save(to);
    cairo_translate(to, text.at.x, text.at.y);
    if (text.upwards) cairo_rotate(to, -G_PI / 2);
    cairo_move_to(to, -shares[static_cast<int>(text.align)] * whole.width, -line.height / 2.0);
    setColour(to, text.colour);
    pango_cairo_show_layout(to, layout.get());
    cairo_restore(to);
}

void draw(cairo_t* to, const GreyPicture& picture) {
    const Surface surface(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, picture.width, picture.height));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc();
    cairo_surface_flush(surface.get());
    unsigned char* row = cairo_image_surface_get_data(surface.get());
    const std::uint8_t* grey = picture.pixels.data();
    for (int y = 0; y < picture.height; ++y, row += cairo_image_surface_get_stride(surface.get()))
        for (int x = 0; x < 4 * picture.width; ++x) row[x] = grey[y * picture.width + x / 4];
    cairo_surface_mark_dirty(surface.get());
    cairo_set_source_surface(to, surface.get(), picture.at.x, picture.at.y);
    // Dots stay dots.
    cairo_pattern_set_filter(cairo_get_source(to), CAIRO_FILTER_NEAREST);
    cairo_paint(to);
}

std::string drawAll(const Drawing& drawing, const char* file, std::string_view format) {
    if (!hasFonts()) return "no font is installed to letter it with (Debian: fonts-dejavu-core)";
    const Surface surface = surfaceOf(drawing, file, format);
    const Context context(cairo_create(surface.get()));
    if (format != "png") cairo_scale(context.get(), pointsPerDot, pointsPerDot);
    setColour(context.get(), drawing.paper);
    cairo_paint(context.get());
    for (const Shape& shape : drawing.shapes)
        std::visit([&](const auto& each) { draw(context.get(), each); }, shape);
    cairo_status_t status = cairo_status(context.get());
    if (status == CAIRO_STATUS_SUCCESS && format == "png")
        status = cairo_surface_write_to_png(surface.get(), file);
    cairo_surface_finish(surface.get());
    if (status == CAIRO_STATUS_SUCCESS) status = cairo_surface_status(surface.get());
    return status == CAIRO_STATUS_SUCCESS ? "" : cairo_status_to_string(status);
}

}  // namespace
}  // namespace lumo::cli

extern "C" [[gnu::visibility("default")]] void lumoDraw(const lumo::cli::Drawing& drawing,
                                                        const char* file, const char* format,
                                                        std::string& fault) {
    try {
        fault = lumo::cli::drawAll(drawing, file, format);
    } catch (const std::bad_alloc&) {
        fault = "no memory";
    }
}
