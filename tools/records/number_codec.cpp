// Binary numbers: integers in both orders of bytes, the machine's floating-point numbers.
#include "records/codec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace tool {

namespace {

constexpr unsigned kByteBits = 8;
constexpr std::size_t kLongestNumber = 64;

template <typename T> std::string written(T value) {
    std::array<char, kLongestNumber> buffer;
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return {buffer.data(), result.ptr};
}

// The whole text is one number.
template <typename T> std::errc parsed(const std::string &text, T &value) {
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && (stop != end || text.empty()) ? std::errc::invalid_argument : error;
}

class IntegerCodec : public Codec {
  public:
    using Codec::Codec;
    std::string blank() const override { return std::string(length(), '\0'); }

  private:
    bool isSigned() const { return field().type != FieldType::kUnsigned; }
    bool inMachineOrder() const {
        const FieldType type = field().type;
        return type == FieldType::kMachineInt || type == FieldType::kMachineLong || type == FieldType::kQuad;
    }
    // Least significant byte first, whichever way they stand in the record.
    std::string turned(std::string bytes) const {
        const bool least_first = inMachineOrder() && std::endian::native == std::endian::little;
        if (!least_first) std::reverse(bytes.begin(), bytes.end());
        return bytes;
    }

    bool decode(std::string_view bytes, Value &value) const override {
        std::uint64_t bits = 0;
        unsigned at = 0;
        for (const char c : turned(std::string(bytes))) {
            bits |= static_cast<std::uint64_t>(static_cast<unsigned char>(c)) << at;
            at += kByteBits;
        }
        if (!isSigned()) {
            value = {Value::kNumber, written(bits)};
            return true;
        }
        const unsigned unused = 64 - at;
        value = {Value::kNumber, written(static_cast<std::int64_t>(bits << unused) >> unused)};
        return true;
    }

    std::string encode(const Value &value) const override {
        const auto bits = static_cast<unsigned>(length()) * kByteBits;
        const std::uint64_t most = std::numeric_limits<std::uint64_t>::max() >> (64 - bits + (isSigned() ? 1 : 0));
        std::uint64_t stored = 0;
        std::errc error = {};
        bool fits = false;
        if (isSigned()) {
            std::int64_t number = 0;
            error = parsed(value.text, number);
            stored = static_cast<std::uint64_t>(number);
            fits = number <= static_cast<std::int64_t>(most) && number >= -static_cast<std::int64_t>(most) - 1;
        } else {
            error = parsed(value.text, stored);
            fits = stored <= most;
            if (error == std::errc::invalid_argument && value.text.starts_with('-')) error = std::errc();
        }
        if (error == std::errc::invalid_argument) throw ValueFault("is to be a whole number");
        if (error != std::errc() || !fits || (!isSigned() && value.text.starts_with('-')))
            throw ValueFault("is to be from " + (isSigned() ? written(-static_cast<std::int64_t>(most) - 1) : "0") +
                             " to " + written(most));
        std::string bytes;
        for (unsigned at = 0; at < bits; at += kByteBits)
            bytes += static_cast<char>(stored >> at);
        return turned(bytes);
    }
};

template <typename T> class FloatCodec : public Codec {
  public:
    using Codec::Codec;
    std::string blank() const override { return std::string(sizeof(T), '\0'); }

  private:
    // The fewest digits that give the same number; -0.0 has a point, for JSON's integers have no such number.
    bool decode(std::string_view bytes, Value &value) const override {
        T number;
        std::memcpy(&number, bytes.data(), sizeof number);
        std::string text = written(number);
        if (text == "-0") text = "-0.0";
        value = {std::isfinite(number) ? Value::kNumber : Value::kText, text};
        return true;
    }
    std::string encode(const Value &value) const override {
        T number = 0;
        const std::errc error = parsed(value.text, number);
        if (error == std::errc::result_out_of_range) throw ValueFault("is too great or too small for the field");
        if (error != std::errc()) throw ValueFault("is to be a number");
        std::string bytes(sizeof number, '\0');
        std::memcpy(bytes.data(), &number, sizeof number);
        return bytes;
    }
};

}  // namespace

std::unique_ptr<Codec> makeNumberCodec(const Field &field) {
    if (field.type == FieldType::kDouble) return std::make_unique<FloatCodec<double>>(field);
    if (field.type == FieldType::kFloat) return std::make_unique<FloatCodec<float>>(field);
    return std::make_unique<IntegerCodec>(field);
}

}  // namespace tool
