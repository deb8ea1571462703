// Text: filled with blanks, or ended by a NUL and filled with them; the rest of a record is text as it is.
#include "records/charset.h"
#include "records/codec.h"

namespace tool {

namespace {

class TextCodec : public Codec {
  public:
    explicit TextCodec(const Field &field) : Codec(field), charset_(field.charset) {}
    std::string blank() const override { return filled({}); }
    std::string storeBeginning(const Value &value) const override {
        return value.kind == Value::kBytes ? store(value) : inCharset(value);
    }

  private:
    bool endsAtNul() const { return field().type == FieldType::kString; }

    std::string filled(std::string bytes) const {
        const std::string fill = endsAtNul() ? std::string(1, '\0') : charset_.blank();
        while (bytes.size() < length())
            bytes += fill.substr(0, length() - bytes.size());
        return bytes;
    }

    bool decode(std::string_view bytes, Value &value) const override {
        if (endsAtNul()) bytes = bytes.substr(0, bytes.find('\0'));
        std::optional<std::string> text = charset_.toUtf8(bytes);
        // A NUL in a text is seldom meant, and many programs stop reading there.
        if (!text || text->find('\0') != std::string::npos) return false;
        if (!endsAtNul() && !field().takesRest()) text->erase(text->find_last_not_of(' ') + 1);
        value = {Value::kText, *std::move(text)};
        return true;
    }

    std::string inCharset(const Value &value) const {
        const std::optional<std::string> bytes = charset_.fromUtf8(value.text);
        if (!bytes)
            throw ValueFault(field().charset.empty() ? std::string("is no UTF-8")
                                                     : "is not to be written in " + field().charset);
        if (!field().takesRest() && bytes->size() > length())
            throw ValueFault("has " + countOfBytes(bytes->size()) + ", the field " + std::to_string(length()));
        if (endsAtNul() && bytes->find('\0') != std::string::npos) throw ValueFault("has a NUL in it");
        return *bytes;
    }

    std::string encode(const Value &value) const override { return filled(inCharset(value)); }

    Charset charset_;
};

}  // namespace

std::unique_ptr<Codec> makeTextCodec(const Field &field) { return std::make_unique<TextCodec>(field); }

}  // namespace tool
