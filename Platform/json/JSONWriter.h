// Writes JSON text piece by piece; include JSON.h instead.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quorvel {

enum class JSONLayout { compact, pretty };
enum class JSONKeyOrder { declared, sorted };

struct JSONFormat {
    JSONLayout layout = JSONLayout::compact;
    JSONKeyOrder keyOrder = JSONKeyOrder::declared;

    /// Indented by two blanks with sorted keys, as state files are written.
    [[nodiscard]] static constexpr JSONFormat stateFile() {
        return {JSONLayout::pretty, JSONKeyOrder::sorted};
    }
};

namespace json {

class Writer {
  public:
    explicit Writer(JSONFormat format) : format_(format) {}

    [[nodiscard]] bool sortsKeys() const { return format_.keyOrder == JSONKeyOrder::sorted; }
    [[nodiscard]] std::string take() { return std::move(text_); }

    void begin(char bracket);
    void end(char bracket);
    void item();
    void key(std::string_view name);
    void null() { text_ += "null"; }
    void boolean(bool value) { text_ += value ? "true" : "false"; }
    void integer(std::int64_t value);
    void number(double value); // null when not finite
    void string(std::string_view value);

  private:
    void newLine();

    std::string text_;
    JSONFormat format_;
    int depth_ = 0;
    bool first_ = true;
};

} // namespace json
} // namespace quorvel
