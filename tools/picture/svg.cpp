#include "picture/svg.h"

#include "base/failure.h"
#include "base/out_file.h"

#include <array>
#include <cstdio>
#include <fstream>

namespace tool {

namespace {

// With no more digits than can be seen.
std::string number(double value) {
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%.2f", value);
    std::string out = text.data();
    while (out.back() == '0')
        out.pop_back();
    if (out.back() == '.') out.pop_back();
    return out == "-0" ? "0" : out;
}

// Bytes that are no text, or mean something in XML, as text.
std::string escaped(const std::string &text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += static_cast<unsigned char>(c) < ' ' || static_cast<unsigned char>(c) > '~' ? '?' : c;
        }
    }
    return out;
}

std::string place(double x, double y, double width, double height) {
    return "x=\"" + number(x) + "\" y=\"" + number(y) + "\" width=\"" + number(width) + "\" height=\"" +
           number(height) + "\"";
}

}  // namespace

Svg::Svg(double width, double height) : width_(width), height_(height) {}

void Svg::box(double x, double y, double width, double height, const std::string &colour, const std::string &title) {
    body_ += "<rect " + place(x, y, width, height) + " fill=\"" + colour + "\"";
    body_ += title.empty() ? "/>\n" : "><title>" + escaped(title) + "</title></rect>\n";
}

void Svg::outline(double x, double y, double width, double height, const std::string &colour) {
    body_ += "<rect " + place(x, y, width, height) + " fill=\"none\" stroke=\"" + colour + "\"/>\n";
}

void Svg::text(double x, double y, double size, const std::string &colour, const std::string &text, Anchor anchor,
               bool bold) {
    static constexpr std::array<const char *, 3> kAnchors = {"start", "middle", "end"};
    body_ += "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\" font-size=\"" + number(size) + "\" fill=\"" +
             colour + "\"";
    if (anchor != Anchor::kStart)
        body_ += std::string(" text-anchor=\"") + kAnchors[static_cast<std::size_t>(anchor)] + "\"";
    if (bold) body_ += " font-weight=\"bold\"";
    body_ += ">" + escaped(text) + "</text>\n";
}

void Svg::write(const std::string &path) const {
    NewOutput output(path);
    std::ofstream file(output.work(), std::ios::binary);
    file << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << number(width_) << "\" height=\"" << number(height_)
         << "\" viewBox=\"0 0 " << number(width_) << ' ' << number(height_)
         << "\" font-family=\"Helvetica, Arial, 'DejaVu Sans', sans-serif\">\n<rect width=\"100%\" height=\"100%\" "
            "fill=\"#ffffff\"/>\n"
         << body_ << "</svg>\n";
    file.close();
    if (!file) throw Failure(path + ": cannot be written");
    output.keep();
}

}  // namespace tool
