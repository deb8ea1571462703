#include "records/guess.h"

#include "records/charset.h"
#include "records/codec.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <optional>

namespace tool {

namespace {

constexpr int kLongestPacked = 8;
constexpr int kLongLength = 4;
constexpr int kLongestZoned = 31;
constexpr int kShortestDigits = 2;
constexpr int kShortestText = 2;
constexpr double kMost = 0.9;  // of the records
constexpr double kHalf = 0.5;
constexpr double kSmallest = 1e-6;
constexpr double kGreatest = 1e12;

const char *const kNulText = "likely: text filled with NULs";

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isFill(char c) { return c == ' ' || c == '\0'; }
bool isTextByte(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte >= 0x20 && byte != 0x7f && byte < 0x80) || byte >= 0xa0;
}

// Looks at the same bytes of all records of the sample.
class Sample {
  public:
    explicit Sample(const std::vector<std::string> &records) : records_(records) {}

    bool all(int at, const std::function<bool(char)> &holds) const {
        return std::all_of(records_.begin(), records_.end(),
                           [&](const std::string &record) { return holds(record[static_cast<std::size_t>(at)]); });
    }
    double share(int at, const std::function<bool(char)> &holds) const {
        const auto count = std::count_if(records_.begin(), records_.end(), [&](const std::string &record) {
            return holds(record[static_cast<std::size_t>(at)]);
        });
        return static_cast<double>(count) / static_cast<double>(records_.size());
    }
    // From `at` on, how many bytes before `end` are such in all records.
    int run(int at, int end, const std::function<bool(char)> &holds) const {
        int length = 0;
        while (at + length < end && all(at + length, holds))
            ++length;
        return length;
    }
    // Are they values of the field in all records, and do they show `holds` of each?
    bool show(const Field &field, const std::function<bool(const Value &)> &holds) const {
        const std::unique_ptr<Codec> codec = makeCodec(field);
        return std::all_of(records_.begin(), records_.end(), [&](const std::string &record) {
            const std::string_view bytes = std::string_view(record).substr(static_cast<std::size_t>(field.start),
                                                                           static_cast<std::size_t>(field.length));
            const Value value = codec->show(bytes);
            return value.kind != Value::kBytes && holds(value);
        });
    }
    // Does one of them say more than nothing?
    bool anySays(const Field &field) const {
        return !show(field,
                     [](const Value &value) { return value.text.find_first_not_of("0.-") == std::string::npos; });
    }

  private:
    const std::vector<std::string> &records_;
};

Field fieldAt(const char *name, int start, int length, FieldType type) {
    Field field;
    field.name = std::string(name) + "_" + std::to_string(start);
    field.start = start;
    field.length = length;
    field.type = type;
    return field;
}

bool isAnything(const Value & /*value*/) { return true; }

class Guesser {
  public:
    explicit Guesser(const std::vector<std::string> &records) : sample_(records) {}

    // Fields for bytes start..end-1, one after the other.
    void guess(int start, int end, std::vector<Guess> &guesses) const {
        while (start < end) {
            start += leadingFill(start, end);
            if (start == end) return;
            if (const std::optional<Guess> found = next(start, end)) {
                start += found->field.length;
                guesses.push_back(*found);
            } else {
                addByte(start++, guesses);
            }
        }
    }

  private:
    // Bytes that are fill in all records; but NULs may be the first ones of a number.
    int leadingFill(int start, int end) const {
        const int fill = sample_.run(start, end, isFill);
        for (int length = 0; length < fill; ++length) {
            const int at = start + length;
            if (packed(at, end) || floating(at, end) || integer(at, end)) return length;
        }
        return fill;
    }

    // Bytes of which nothing can be said make one field as long as they follow one another.
    static void addByte(int at, std::vector<Guess> &guesses) {
        if (!guesses.empty() && guesses.back().field.type == FieldType::kHex &&
            guesses.back().field.start + guesses.back().field.length == at)
            ++guesses.back().field.length;
        else
            guesses.push_back({fieldAt("bytes", at, 1, FieldType::kHex), "guess: no text and no number"});
    }

    std::optional<Guess> next(int start, int end) const {
        for (const auto look : {&Guesser::date, &Guesser::packed, &Guesser::digits, &Guesser::text, &Guesser::string,
                                &Guesser::floating, &Guesser::integer}) {
            if (std::optional<Guess> found = (this->*look)(start, end)) return found;
        }
        return std::nullopt;
    }

    std::optional<Guess> date(int start, int end) const {
        for (const char *form : {"YYYYMMDD", "YYYY-MM-DD", "DD.MM.YYYY"}) {
            Field field = fieldAt("date", start, static_cast<int>(std::string_view(form).size()), FieldType::kDate);
            field.date = form;
            const auto plausible = [](const Value &value) {
                return value.text.empty() || value.text.starts_with("0000") || value.text.starts_with("18") ||
                       value.text.starts_with("19") || value.text.starts_with("20");
            };
            if (start + field.length <= end && sample_.show(field, plausible) && sample_.anySays(field) &&
                !isBlank(field))
                return Guess{field, "likely: dates of the calendar in all records"};
        }
        return std::nullopt;
    }
    bool isBlank(const Field &field) const {
        return sample_.show(field, [](const Value &value) { return value.text.empty(); });
    }

    bool isAllText(const Field &field) const {
        return sample_.run(field.start, field.start + field.length, isTextByte) == field.length;
    }

    std::optional<Guess> packed(int start, int end) const {
        for (int length = 2; length <= kLongestPacked && start + length <= end; ++length) {
            for (const Sign sign : {Sign::kUsual, Sign::kUnsigned}) {
                Field field = fieldAt("packed", start, length, FieldType::kPacked);
                field.sign = sign;
                if (sample_.show(field, isAnything) && sample_.anySays(field) && !isAllText(field))
                    return Guess{field, "likely: decimal digits and a sign in all records; the scale is not known"};
            }
        }
        return std::nullopt;
    }

    std::optional<Guess> digits(int start, int end) const {
        const int length = std::min(sample_.run(start, end, isDigit), kLongestZoned);
        for (const Sign sign : {Sign::kUsual, Sign::kLetters}) {
            Field field = fieldAt("zoned", start, length + 1, FieldType::kZoned);
            field.sign = sign;
            const auto negative = [](const Value &value) {
                return value.text.starts_with('-');
            };
            const auto positive = [](const Value &value) {
                return !value.text.starts_with('-');
            };
            if (length == 0 || start + field.length > end || !sample_.show(field, isAnything)) continue;
            if (!sample_.show(field, negative) && !sample_.show(field, positive))
                return Guess{field, "likely: digits in all records, with signs in the last one"};
        }
        if (length < kShortestDigits) return std::nullopt;
        Field field = fieldAt("digits", start, length, FieldType::kZoned);
        field.sign = Sign::kUnsigned;
        return Guess{field, "guess: digits in all records; a number, or text"};
    }

    // Text ends where the next begins: behind blanks in most records comes none in most.
    std::optional<Guess> text(int start, int end) const {
        const int run = sample_.run(start, end, isTextByte);
        if (run == 0 || endsAtNul(start + run, end)) return std::nullopt;
        int length = 1;
        while (length < run && !begins(start, start + length)) {
            if (sample_.run(start + length, end, isDigit) >= kShortestDigits || date(start + length, end)) break;
            ++length;
        }
        Field field = fieldAt("text", start, length, FieldType::kChar);
        if (!sample_.show(field, isAnything)) field.charset = "ISO-8859-1";
        const bool padded = sample_.share(start + length - 1, [](char c) { return c == ' '; }) > 0;
        const bool sure = length >= kShortestText && padded && field.charset.empty();
        return Guess{field, sure ? "likely: text filled with blanks" : "guess: text"};
    }
    // Some have a NUL there, some go on.
    bool endsAtNul(int at, int end) const {
        const double nuls = at < end ? sample_.share(at, [](char c) { return c == '\0'; }) : 0;
        return nuls > 0 && nuls < 1;
    }
    bool begins(int start, int at) const {
        const auto is_blank = [](char c) {
            return c == ' ';
        };
        if (at - start < kShortestText || sample_.share(at, is_blank) > 1 - kMost) return false;
        return sample_.share(at - 1, is_blank) >= kMost && sample_.share(at - 2, is_blank) >= kMost;
    }

    // The NULs behind it may be the first ones of a number.
    std::optional<Guess> string(int start, int end) const {
        if (sample_.share(start, isTextByte) < kHalf) return std::nullopt;
        const int run = sample_.run(start, end, [](char c) { return c == '\0' || isTextByte(c); });
        for (int length = run; length >= kShortestText; --length) {
            const Field field = fieldAt("text", start, length, FieldType::kString);
            if (!sample_.show(field, isAnything)) continue;
            int shorter = length;
            while (shorter > kShortestText && length - shorter < kLongLength &&
                   sample_.all(start + shorter - 1, isFill)) {
                --shorter;
                if (!integer(start + shorter, end)) continue;
                return Guess{fieldAt("text", start, shorter, FieldType::kString), kNulText};
            }
            return Guess{field, kNulText};
        }
        return std::nullopt;
    }

    std::optional<Guess> floating(int start, int end) const {
        const Field field = fieldAt("number", start, 8, FieldType::kDouble);
        const auto plausible = [](const Value &value) {
            double number = kGreatest;
            std::from_chars(value.text.data(), value.text.data() + value.text.size(), number);
            const double size = std::abs(number);
            return size == 0 || (size >= kSmallest && size < kGreatest);
        };
        if (start + field.length > end || !sample_.show(field, plausible) || !sample_.anySays(field))
            return std::nullopt;
        return Guess{field, "likely: doubles of a plausible size"};
    }

    // A number's last byte is not the same fill everywhere, and what follows does not look like more of it.
    bool endsWell(int at, int end) const {
        const auto is_plain = [](char c) {
            return c == '\0' || c == '\xff' || (c >= ' ' && c <= '~');
        };
        return !sample_.all(at - 1, isFill) && (at == end || sample_.all(at, is_plain));
    }

    std::optional<Guess> integer(int start, int end) const {
        const auto is_high = [](char c) {
            return c == '\0' || c == '\xff';
        };
        struct Form {
            int length;
            FieldType type;
        };
        for (const Form form : {Form{kLongLength, FieldType::kLong}, Form{2, FieldType::kInt}}) {
            if (start + form.length > end || !sample_.all(start, is_high)) continue;
            const Field field = fieldAt("number", start, form.length, form.type);
            const bool only_text = sample_.run(start + 1, start + form.length, isTextByte) == form.length - 1;
            if (!only_text && sample_.anySays(field) && endsWell(start + form.length, end))
                return Guess{field, "guess: small integers, most significant byte first"};
        }
        return std::nullopt;
    }

    Sample sample_;
};

std::optional<Guess> guessRest(const Layout &layout, const std::vector<std::string> &records) {
    const auto start = static_cast<std::size_t>(layout.minimum);
    const auto is_text = [start](const std::string &record) {
        const std::string_view tail = std::string_view(record).substr(start);
        return isUtf8(tail) && std::none_of(tail.begin(), tail.end(), [](char c) {
                   return static_cast<unsigned char>(c) < ' ' && c != '\n' && c != '\r' && c != '\t';
               });
    };
    if (!std::all_of(records.begin(), records.end(), is_text)) return std::nullopt;
    return Guess{fieldAt("text", layout.minimum, kRest, FieldType::kChar), "likely: text in all records"};
}

}  // namespace

std::vector<Guess> guessFields(const Layout &layout, const std::vector<std::string> &records) {
    std::vector<Guess> guesses;
    if (records.empty()) return guesses;
    const Guesser guesser(records);
    for (const Field &gap : gapsOf(layout)) {
        if (!gap.takesRest()) {
            guesser.guess(gap.start, gap.start + gap.length, guesses);
        } else if (const std::optional<Guess> rest = guessRest(layout, records)) {
            guesses.push_back(*rest);
        }
    }
    return guesses;
}

}  // namespace tool
