// Dates as digits. They are shown as 2024-02-29, with as many digits of the year as the field has; one that is not in
// the calendar is no date. No date at all is blanks, shown as nothing, or zeros, 0000-00-00.
#include "records/codec.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace tool {

namespace {

constexpr int kCentury = 2000;  // of years that are written without it; any that has the same leap years

struct Part {
    std::size_t at;      // in the field
    std::size_t length;  // in digits
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

class DateCodec : public Codec {
  public:
    explicit DateCodec(const Field &field) : Codec(field) {
        parts_[0] = {field.date.find("YY"), field.date.find("YYYY") == std::string::npos ? 2U : 4U};
        parts_[1] = {field.date.find("MM"), 2};
        parts_[2] = {field.date.find("DD"), 2};
    }
    std::string blank() const override { return std::string(length(), ' '); }

  private:
    bool decode(std::string_view bytes, Value &value) const override {
        value.text.clear();
        if (bytes == blank()) return true;
        for (const Part &part : parts_)
            value.text += (part.at == parts_[0].at ? "" : "-") + std::string(bytes.substr(part.at, part.length));
        return true;
    }

    std::string encode(const Value &value) const override {
        if (value.text.empty()) return blank();
        std::string bytes = field().date;
        std::array<int, 3> numbers = {};
        std::size_t at = 0;
        for (std::size_t i = 0; i < parts_.size(); ++i) {
            const std::string digits = value.text.substr(std::min(at, value.text.size()), parts_[i].length);
            at += parts_[i].length;
            const bool ended =
                i + 1 == parts_.size() ? at == value.text.size() : value.text[std::min(at++, value.text.size())] == '-';
            if (digits.size() != parts_[i].length || !std::all_of(digits.begin(), digits.end(), isDigit) || !ended)
                throw ValueFault(std::string("is to be a date, ") + (parts_[0].length == 4 ? "YYYY" : "YY") + "-MM-DD");
            numbers[i] = std::stoi(digits);
            bytes.replace(parts_[i].at, parts_[i].length, digits);
        }
        if (numbers != std::array<int, 3>{} && !inCalendar(numbers)) throw ValueFault("is no date of the calendar");
        return bytes;
    }

    bool inCalendar(const std::array<int, 3> &numbers) const {
        const int year = numbers[0] + (parts_[0].length == 2 ? kCentury : 0);
        return std::chrono::year_month_day(std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(numbers[1])),
                                           std::chrono::day(static_cast<unsigned>(numbers[2])))
            .ok();
    }

    std::array<Part, 3> parts_;
};

}  // namespace

std::unique_ptr<Codec> makeDateCodec(const Field &field) { return std::make_unique<DateCodec>(field); }

}  // namespace tool
