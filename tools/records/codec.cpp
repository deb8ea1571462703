#include "records/codec.h"

namespace tool {

namespace {

class HexCodec : public Codec {
  public:
    using Codec::Codec;
    std::string blank() const override { return std::string(length(), '\0'); }
    std::string storeBeginning(const Value &value) const override {
        std::string bytes = value.text;
        if (value.kind != Value::kBytes && !fromHex(value.text, bytes))
            throw ValueFault("is to be pairs of hexadecimal digits");
        return bytes.substr(0, length());
    }

  private:
    bool decode(std::string_view bytes, Value &value) const override {
        value = {Value::kText, toHex(bytes)};
        return true;
    }
    std::string encode(const Value &value) const override {
        std::string bytes;
        if (!fromHex(value.text, bytes)) throw ValueFault("is to be pairs of hexadecimal digits");
        if (!field().takesRest() && bytes.size() != length())
            throw ValueFault("has " + countOfBytes(bytes.size()) + ", the field " + std::to_string(length()));
        return bytes;
    }
};

class GapCodec : public Codec {
  public:
    explicit GapCodec(const Field &field) : Codec(field), hex_(makeCodec(field)) {}
    std::string blank() const override { return std::string(length(), ' '); }

  private:
    bool decode(std::string_view bytes, Value &value) const override {
        value = bytes == blank() ? Value() : hex_->show(bytes);
        return true;
    }
    std::string encode(const Value &value) const override { return value.text.empty() ? blank() : hex_->store(value); }

    std::unique_ptr<Codec> hex_;
};

}  // namespace

Value Codec::show(std::string_view bytes) const {
    Value value;
    try {
        if (decode(bytes, value) && encode(value) == bytes) return value;
    } catch (const ValueFault &) {
        // A value that cannot be stored does not stand for these bytes.
    }
    return {Value::kBytes, std::string(bytes)};
}

std::string Codec::store(const Value &value) const {
    if (value.kind != Value::kBytes) return encode(value);
    if (!field_.takesRest() && value.text.size() != length())
        throw ValueFault("has " + countOfBytes(value.text.size()) + ", the field " + std::to_string(length()));
    return value.text;
}

std::unique_ptr<Codec> makeCodec(const Field &field) {
    switch (field.type) {
    case FieldType::kChar:
    case FieldType::kString: return makeTextCodec(field);
    case FieldType::kPacked:
    case FieldType::kZoned: return makeDecimalCodec(field);
    case FieldType::kDate: return makeDateCodec(field);
    case FieldType::kHex: return std::make_unique<HexCodec>(field);
    default: return makeNumberCodec(field);
    }
}

std::unique_ptr<Codec> makeGapCodec(const Field &field) { return std::make_unique<GapCodec>(field); }

}  // namespace tool
