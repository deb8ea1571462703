// JSON Lines: an object a line. Numbers are taken as they are written, not as doubles.
#include "base/failure.h"
#include "base/json.h"
#include "records/rows.h"

#include <algorithm>

namespace tool {

namespace {

const char *const kHexMember = "hex";

// Fills a row from the parts of an object: {"name": value, "name": {"hex": "digits"}}.
class ObjectReader : public nlohmann::json_sax<Json> {
  public:
    ObjectReader(const Columns &columns, InputRow &row) : columns_(columns), row_(row) {}

    bool null() override {
        needPlace("null");
        return true;
    }
    bool boolean(bool value) override {
        throw RowFault(where() + (value ? "true" : "false") + " is no value of a field");
    }
    bool number_integer(number_integer_t value) override { return put({Value::kNumber, std::to_string(value)}); }
    bool number_unsigned(number_unsigned_t value) override { return put({Value::kNumber, std::to_string(value)}); }
    bool number_float(number_float_t /*value*/, const string_t &text) override { return put({Value::kNumber, text}); }
    bool string(string_t &value) override {
        if (depth_ != 2) return put({Value::kText, value});
        std::string bytes;
        if (!fromHex(value, bytes)) throw RowFault(where() + "is to be pairs of hexadecimal digits");
        return store({Value::kBytes, bytes});
    }
    bool binary(binary_t & /*value*/) override { return false; }
    bool start_object(std::size_t /*count*/) override {
        if (++depth_ > 2) throw RowFault(where() + "an object in an object is no value of a field");
        hex_ = false;
        return true;
    }
    bool key(string_t &name) override {
        if (depth_ == 2) {
            if (name != kHexMember || hex_) throw RowFault(where() + R"(an object is to be {"hex": "..."})");
            hex_ = true;
            return true;
        }
        name_ = name;
        place_ = placeOf(columns_, name);
        if (std::find(names_.begin(), names_.end(), name) != names_.end()) throw RowFault("has '" + name + "' twice");
        names_.push_back(name);
        return true;
    }
    bool end_object() override {
        if (depth_-- == 2 && !hex_) throw RowFault(where() + R"(an object is to be {"hex": "..."})");
        return true;
    }
    bool start_array(std::size_t /*count*/) override {
        if (depth_ == 0) throw RowFault("is to be an object");
        throw RowFault(where() + "an array is no value of a field");
    }
    bool end_array() override { return true; }
    bool parse_error(std::size_t position, const std::string & /*last*/,
                     const nlohmann::detail::exception & /*why*/) override {
        throw RowFault("is no JSON from byte " + std::to_string(position) + " on");
    }

  private:
    std::string where() const { return name_.empty() ? std::string() : "field " + name_ + ": "; }

    void needPlace(const char *what) const {
        if (depth_ == 0) throw RowFault("is to be an object");
        if (depth_ == 2) throw RowFault(where() + what + " is no string of hexadecimal digits");
    }
    bool put(Value value) {
        needPlace("a number");
        return store(std::move(value));
    }
    bool store(Value value) {
        putInto(row_, place_, std::move(value));
        return true;
    }

    const Columns &columns_;
    InputRow &row_;
    int depth_ = 0;
    bool hex_ = false;
    std::string name_;
    Place place_;
    std::vector<std::string> names_;
};

class JsonSource : public RowSource {
  public:
    JsonSource(const Columns &columns, LineReader &lines) : columns_(columns), lines_(lines) {}

    bool next(InputRow &row) override {
        std::string line;
        do {
            if (!lines_.next(line)) return false;
        } while (line.find_first_not_of(" \t\r\n") == std::string::npos);
        row.line = lines_.number();
        row.values.assign(columns_.count(), std::nullopt);
        row.number.reset();
        row.mask.reset();
        ObjectReader reader(columns_, row);
        Json::sax_parse(line, &reader);
        return true;
    }

  private:
    const Columns &columns_;
    LineReader &lines_;
};

}  // namespace

std::unique_ptr<RowSource> makeJsonSource(const Columns &columns, LineReader &lines) {
    return std::make_unique<JsonSource>(columns, lines);
}

}  // namespace tool
