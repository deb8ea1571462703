// Pictures as SVG: boxes and text, no more than every viewer draws.
#pragma once

#include <string>

namespace tool {

class Svg {
  public:
    Svg(double width, double height);

    // title: what a viewer shows under the pointer; may be empty.
    void box(double x, double y, double width, double height, const std::string &colour, const std::string &title = "");
    void outline(double x, double y, double width, double height, const std::string &colour);
    enum class Anchor { kStart, kMiddle, kEnd };
    void text(double x, double y, double size, const std::string &colour, const std::string &text,
              Anchor anchor = Anchor::kStart, bool bold = false);

    // Writes the picture; throws Failure where that fails.
    void write(const std::string &path) const;

  private:
    std::string body_;
    double width_;
    double height_;
};

// The colours that all pictures share.
namespace colour {
inline constexpr const char *kInk = "#22303c";
inline constexpr const char *kFaint = "#6b7885";
inline constexpr const char *kLine = "#c9d1d8";
inline constexpr const char *kEmpty = "#eef1f3";
}  // namespace colour

}  // namespace tool
