#pragma once

#include "recording/fields.h"

#include <array>
#include <string>
#include <string_view>

namespace recording {

/// Why a line is refused, and the column, counted in bytes from 1.
struct LineMistake {
    std::size_t column = 1;
    std::string reason;
};

/// The known fields of one line, with values of any type.
class LineFields {
public:
    /// Parses a line in place: its texts are not copied.
    ///
    /// \param line  ends in a NUL
    /// \return false with the reason in \p mistake
    bool Parse(char* line, std::size_t length, LineMistake& mistake);

    bool Has(const char* name) const;

    /// The value of a field, which must be there and of this type.
    /// \return false with the reason in \p mistake
    bool Get(const char* name, std::uint64_t largest, std::uint64_t& number,
             LineMistake& mistake) const;
    bool Get(const char* name, bool& flag, LineMistake& mistake) const;
    /// \param text  may be changed in its place
    bool Get(const char* name, char*& text, std::size_t& size, LineMistake& mistake) const;

    /// The mistake is \p reason, at the field \p name. \return false
    bool Refuse(const char* name, const std::string& reason, LineMistake& mistake) const;

private:
    class Events;
    enum class Type { None, Number, Flag, Text, Other };

    struct Value {
        Type type = Type::None;
        std::size_t column = 1;  ///< of the name
        std::uint64_t number = 0;
        bool flag = false;
        char* text = nullptr;
        std::size_t size = 0;
    };

    static constexpr std::size_t nameCount = 23;
    static const std::array<const char*, nameCount> names;
    static std::size_t IndexOf(std::string_view name);
    const Value& Find(const char* name) const { return values[IndexOf(name)]; }

    /// The last one is for all unknown names.
    std::array<Value, nameCount + 1> values;
};

}  // namespace recording
