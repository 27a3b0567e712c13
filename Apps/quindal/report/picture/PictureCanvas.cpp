#include "PictureCanvas.h"

#include <memory>
#include <numbers>

#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>

#include "Errors.h"

namespace quindal::picture {

namespace {

constexpr double A4Width = 595.2755905511812; // points
constexpr double A4Height = 841.8897637795276;

struct Freed
{
    void operator()(cairo_t* context) const noexcept { cairo_destroy(context); }
    void operator()(cairo_surface_t* surface) const noexcept { cairo_surface_destroy(surface); }
    void operator()(cairo_font_options_t* options) const noexcept { cairo_font_options_destroy(options); }
};
using Context = std::unique_ptr<cairo_t, Freed>;
using Surface = std::unique_ptr<cairo_surface_t, Freed>;

void Check(cairo_status_t status)
{
    if (status == CAIRO_STATUS_SUCCESS) return;
    throw CommandError(StatusInternal,
                       std::string("the picture cannot be drawn: cairo says: ") + cairo_status_to_string(status));
}

cairo_status_t Append(void* text, const unsigned char* bytes, unsigned count)
{
    try {
        static_cast<std::string*>(text)->append(reinterpret_cast<const char*>(bytes), count);
    } catch (...) {
        return CAIRO_STATUS_NO_MEMORY;
    }
    return CAIRO_STATUS_SUCCESS;
}

/// A context whose letters are as wide on every surface: their sizes do not snap to pixels.
Context ContextOn(cairo_surface_t* surface)
{
    Context context(cairo_create(surface));
    const std::unique_ptr<cairo_font_options_t, Freed> options(cairo_font_options_create());
    cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    cairo_set_font_options(context.get(), options.get());
    return context;
}

void Select(cairo_t* context, const Font& font)
{
    cairo_select_font_face(context, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           font.isBold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context, font.size);
}

void Use(cairo_t* context, const Colour& colour)
{
    cairo_set_source_rgb(context, colour.red, colour.green, colour.blue);
}

void Draw(cairo_t* context, const Path& path)
{
    if (path.points.empty()) return;
    Use(context, path.colour);
    cairo_set_line_width(context, path.width);
    cairo_set_dash(context, path.dash.data(), static_cast<int>(path.dash.size()), 0.0);
    for (const Point& point : path.points)
        cairo_line_to(context, point.x, point.y);
    if (path.isFilled) {
        cairo_close_path(context);
        cairo_fill(context);
    } else {
        cairo_stroke(context);
    }
}

void Draw(cairo_t* context, const Ring& ring)
{
    Use(context, ring.colour);
    cairo_set_line_width(context, 2.0);
    cairo_set_dash(context, nullptr, 0, 0.0);
    cairo_new_sub_path(context);
    cairo_arc(context, ring.centre.x, ring.centre.y, ring.radius, 0.0, 2.0 * std::numbers::pi);
    cairo_stroke(context);
}

void Draw(cairo_t* context, const Words& words)
{
    Use(context, words.colour);
    Select(context, {words.size, words.isBold});
    cairo_move_to(context, words.at.x, words.at.y);
    cairo_show_text(context, words.text.c_str());
    cairo_new_path(context);
}

void Draw(cairo_t* context, const Sheet& sheet)
{
    Use(context, sheet.ground);
    cairo_paint(context);
    cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
    for (const Path& path : sheet.paths)
        Draw(context, path);
    for (const Ring& ring : sheet.rings)
        Draw(context, ring);
    for (const Words& words : sheet.words)
        Draw(context, words);
    Check(cairo_status(context));
}

void Finish(cairo_surface_t* surface)
{
    cairo_surface_finish(surface);
    Check(cairo_surface_status(surface));
}

} // namespace

TextMeasure MeasureByCairo()
{
    const std::shared_ptr<cairo_surface_t> surface(cairo_recording_surface_create(CAIRO_CONTENT_COLOR, nullptr),
                                                   &cairo_surface_destroy);
    const std::shared_ptr<cairo_t> context(ContextOn(surface.get()).release(), &cairo_destroy);
    return [surface, context](const std::string& text, const Font& font) {
        Select(context.get(), font);
        cairo_text_extents_t extents{};
        cairo_text_extents(context.get(), text.c_str(), &extents);
        Check(cairo_status(context.get()));
        return extents.x_advance;
    };
}

std::string SvgOf(const Sheet& sheet)
{
    std::string text;
    const Surface surface(cairo_svg_surface_create_for_stream(&Append, &text, sheet.width, sheet.height));
    cairo_svg_surface_set_document_unit(surface.get(), CAIRO_SVG_UNIT_PX);
    Draw(ContextOn(surface.get()).get(), sheet);
    Finish(surface.get());
    return text;
}

std::string PdfOf(const std::vector<Sheet>& sheets, const PdfPapers& papers)
{
    std::string text;
    const Surface surface(cairo_pdf_surface_create_for_stream(&Append, &text, A4Width, A4Height));
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_TITLE, papers.title.c_str());
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_SUBJECT, papers.subject.c_str());
    cairo_pdf_surface_set_metadata(surface.get(), CAIRO_PDF_METADATA_CREATE_DATE, papers.created.c_str());
    for (const Sheet& sheet : sheets) {
        const Context context = ContextOn(surface.get());
        cairo_scale(context.get(), A4Width / sheet.width, A4Width / sheet.width);
        Draw(context.get(), sheet);
        cairo_show_page(context.get());
    }
    Finish(surface.get());
    return text;
}

} // namespace quindal::picture
