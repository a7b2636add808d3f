#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace control {

struct Field;

/// A value of a JSON text, of any type.
struct Value {
    enum class Type { Null, Flag, Number, Text, Array, Object };

    /// The value of the field \p name; Null when there is none.
    const Value& operator[](std::string_view name) const;

    bool Has(std::string_view name) const { return (*this)[name].type != Type::Null; }
    bool IsTrue() const { return type == Type::Flag && text == "true"; }

    /// A number from 0; 0 for anything else.
    std::uint64_t Number() const;

    Type type = Type::Null;
    std::string text;           ///< of a Flag, Number or Text; a number as it was written
    std::vector<Value> items;   ///< of an Array
    std::vector<Field> fields;  ///< of an Object, in order
};

struct Field {
    std::string name;
    Value value;
};

/// \return false when \p json is not one JSON object, at most 32 levels deep
bool ParseObject(const std::string& json, Value& object);

}  // namespace control
