// Decimal numbers: packed, two digits a byte with the sign in the last half; zoned, a digit a byte with the sign in the
// last digit or behind it. In between they are digits and a sign; -0 is another value than 0.
#include "records/codec.h"

#include <algorithm>

namespace tool {

namespace {

constexpr unsigned kHalf = 4;
constexpr unsigned kHalfMask = 0x0f;
constexpr unsigned kPlus = 0x0c;
constexpr unsigned kMinus = 0x0d;
constexpr unsigned kNoSign = 0x0f;
constexpr char kMinusZone = 0x70;  // of the last digit
constexpr int kDigitsOfJson = 15;  // that every reader of JSON keeps

struct Decimal {
    bool negative = false;
    std::string digits;  // as many as the field has
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

class DecimalCodec : public Codec {
  public:
    using Codec::Codec;
    std::string blank() const override { return pack({false, std::string(digitCount(), '0')}); }

  private:
    virtual std::string pack(const Decimal &number) const = 0;
    virtual bool unpack(std::string_view bytes, Decimal &number) const = 0;

    std::size_t digitCount() const { return static_cast<std::size_t>(decimalDigits(field())); }
    std::size_t scale() const { return static_cast<std::size_t>(field().scale); }

    // Numbers with a scale are texts, for a reader of JSON may make binary fractions of numbers.
    bool decode(std::string_view bytes, Value &value) const override {
        Decimal number;
        if (!unpack(bytes, number) || !std::all_of(number.digits.begin(), number.digits.end(), isDigit)) return false;
        std::string whole = number.digits.substr(0, digitCount() - scale());
        whole.erase(0, std::min(whole.find_first_not_of('0'), whole.size()));
        std::string text = (number.negative ? "-" : "") + (whole.empty() ? "0" : whole);
        if (scale() != 0) text += "." + number.digits.substr(digitCount() - scale());
        const bool number_in_json = scale() == 0 && digitCount() <= kDigitsOfJson && text != "-0";
        value = {number_in_json ? Value::kNumber : Value::kText, text};
        return true;
    }

    std::string encode(const Value &value) const override {
        std::string_view text = value.text;
        Decimal number;
        number.negative = text.starts_with('-');
        if (number.negative || text.starts_with('+')) text.remove_prefix(1);
        const std::size_t point = text.find('.');
        std::string_view whole = text.substr(0, point);
        std::string_view fraction = point == std::string_view::npos ? std::string_view() : text.substr(point + 1);
        const bool all_digits =
            std::all_of(whole.begin(), whole.end(), isDigit) && std::all_of(fraction.begin(), fraction.end(), isDigit);
        if (!all_digits || (whole.empty() && fraction.empty())) throw ValueFault("is to be a decimal number");
        whole.remove_prefix(std::min(whole.find_first_not_of('0'), whole.size()));
        if (whole.size() > digitCount() - scale())
            throw ValueFault("has more than " + std::to_string(digitCount() - scale()) + " digits before the point");
        fraction = fraction.substr(0, fraction.find_last_not_of('0') + 1);
        if (fraction.size() > scale())
            throw ValueFault("has more than " + std::to_string(scale()) + " digits behind the point");
        if (number.negative && field().sign == Sign::kUnsigned) throw ValueFault("is not to be negative");
        number.digits = std::string(digitCount() - scale() - whole.size(), '0') + std::string(whole);
        number.digits += std::string(fraction) + std::string(scale() - fraction.size(), '0');
        return pack(number);
    }
};

class PackedCodec : public DecimalCodec {
  public:
    using DecimalCodec::DecimalCodec;

  private:
    unsigned plus() const { return field().sign == Sign::kUnsigned ? kNoSign : kPlus; }

    std::string pack(const Decimal &number) const override {
        std::string bytes;
        for (std::size_t i = 0; i < number.digits.size(); i += 2) {
            const auto high = static_cast<unsigned>(number.digits[i] - '0');
            const unsigned low = i + 1 < number.digits.size() ? static_cast<unsigned>(number.digits[i + 1] - '0')
                                 : number.negative            ? kMinus
                                                              : plus();
            bytes += static_cast<char>(high << kHalf | low);
        }
        return bytes;
    }

    // A half byte above 9 becomes no digit, which is noticed; so is a sign that is another one than pack makes.
    bool unpack(std::string_view bytes, Decimal &number) const override {
        for (const char c : bytes) {
            const auto byte = static_cast<unsigned char>(c);
            number.digits += static_cast<char>('0' + (byte >> kHalf));
            number.digits += static_cast<char>('0' + (byte & kHalfMask));
        }
        number.negative = number.digits.back() == static_cast<char>('0' + kMinus);
        number.digits.pop_back();
        return true;
    }
};

class ZonedCodec : public DecimalCodec {
  public:
    using DecimalCodec::DecimalCodec;

  private:
    // The digits 0 to 9 as a number's last one, by its sign.
    std::string lastDigits(bool negative) const {
        if (field().sign == Sign::kLetters) return negative ? "}JKLMNOPQR" : "{ABCDEFGHI";
        std::string digits = "0123456789";
        if (negative) {
            for (char &digit : digits)
                digit = static_cast<char>(kMinusZone + (digit - '0'));
        }
        return digits;
    }

    std::string pack(const Decimal &number) const override {
        if (field().sign == Sign::kSeparate) return number.digits + (number.negative ? '-' : '+');
        std::string bytes = number.digits;
        bytes.back() = lastDigits(number.negative)[static_cast<std::size_t>(bytes.back() - '0')];
        return bytes;
    }

    bool unpack(std::string_view bytes, Decimal &number) const override {
        number.digits = bytes;
        if (field().sign == Sign::kSeparate) {
            number.negative = bytes.back() == '-';
            number.digits.pop_back();
            return true;
        }
        for (const bool negative : {false, true}) {
            const std::size_t digit = lastDigits(negative).find(bytes.back());
            if (digit == std::string::npos) continue;
            number.negative = negative;
            number.digits.back() = static_cast<char>('0' + digit);
            return true;
        }
        return false;
    }
};

}  // namespace

std::unique_ptr<Codec> makeDecimalCodec(const Field &field) {
    if (field.type == FieldType::kPacked) return std::make_unique<PackedCodec>(field);
    return std::make_unique<ZonedCodec>(field);
}

}  // namespace tool
