// What stands between a field's bytes and its value. Nothing gets lost: bytes that would not come back from the value
// of the field's type are shown as bytes.
#pragma once

#include "layout/field.h"
#include "records/value.h"

#include <memory>
#include <string>
#include <string_view>

namespace tool {

class Codec {
  public:
    explicit Codec(const Field &field) : field_(field) {}
    virtual ~Codec() = default;
    Codec(const Codec &) = delete;
    Codec &operator=(const Codec &) = delete;

    const Field &field() const { return field_; }

    // The value of the field's bytes; store gives the same bytes back.
    Value show(std::string_view bytes) const;
    // The field's bytes for a value; throws ValueFault. As many as the field has, any number for the rest of a record.
    std::string store(const Value &value) const;
    // The bytes that a value begins with, for keys: text without what it is filled with; of other types, as store.
    virtual std::string storeBeginning(const Value &value) const { return store(value); }
    // What stands in a field of which nothing is said.
    virtual std::string blank() const = 0;

  protected:
    std::size_t length() const { return field_.takesRest() ? 0 : static_cast<std::size_t>(field_.length); }

  private:
    // The value in the form of the type; false where the bytes are none.
    virtual bool decode(std::string_view bytes, Value &value) const = 0;
    // Bytes for a text or a number; throws ValueFault.
    virtual std::string encode(const Value &value) const = 0;

    Field field_;
};

std::unique_ptr<Codec> makeCodec(const Field &field);
// For bytes that no field covers: blanks are shown as nothing.
std::unique_ptr<Codec> makeGapCodec(const Field &field);

// One for each kind of type.
std::unique_ptr<Codec> makeTextCodec(const Field &field);
std::unique_ptr<Codec> makeNumberCodec(const Field &field);
std::unique_ptr<Codec> makeDecimalCodec(const Field &field);
std::unique_ptr<Codec> makeDateCodec(const Field &field);

}  // namespace tool
