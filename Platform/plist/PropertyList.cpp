#include "Platform/plist/PropertyList.h"

#include "Platform/json/JSON.h"
#include "Platform/text/Text.h"

#include <expat.h>
#include <fmt/format.h>

#include <charconv>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace quorvel {

namespace {

constexpr std::size_t deepestNesting = 64;

std::int64_t integerOf(const std::string& text) {
    const std::string_view digits = trim(text);
    std::int64_t number = 0;
    const auto [end, problem] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (problem != std::errc() || end != digits.data() + digits.size() || digits.empty())
        throw PropertyListError("an integer is no number");
    return number;
}

double realOf(const std::string& text) {
    try {
        return decodeJSON<double>(trim(text));
    } catch (const JSONError&) {
        throw PropertyListError("a real is no number");
    }
}

// Builds the value from the parser's events. Errors are kept until the parser, which is C, has returned.
class PropertyListBuilder {
  public:
    explicit PropertyListBuilder(XML_Parser parser) : parser_(parser) {
        XML_SetUserData(parser_, this);
        XML_SetElementHandler(
            parser_,
            [](void* self, const XML_Char* name, const XML_Char**) {
                of(self).guarded([&] { of(self).begin(name); });
            },
            [](void* self, const XML_Char*) { of(self).guarded([&] { of(self).end(); }); });
        XML_SetCharacterDataHandler(parser_, [](void* self, const XML_Char* text, int size) {
            of(self).guarded([&] { of(self).add({text, static_cast<std::size_t>(size)}); });
        });
        XML_SetStartDoctypeDeclHandler(
            parser_, [](void* self, const XML_Char*, const XML_Char*, const XML_Char*, int hasDeclarations) {
                if (hasDeclarations) of(self).fail("it declares its own document type");
            });
        XML_SetSkippedEntityHandler(parser_, [](void* self, const XML_Char*, int) {
            of(self).fail("it uses an entity that nobody declares");
        });
    }

    [[nodiscard]] JSONValue take(std::string_view text) {
        constexpr std::size_t piece = 1 << 20; // the parser counts in int
        XML_Status status = XML_STATUS_OK;
        do {
            const std::string_view now = text.substr(0, piece);
            text.remove_prefix(now.size());
            status = XML_Parse(parser_, now.data(), static_cast<int>(now.size()), text.empty());
        } while (status == XML_STATUS_OK && !text.empty());
        if (problem_) std::rethrow_exception(problem_);
        if (status != XML_STATUS_OK)
            throw PropertyListError(fmt::format("{} in line {}", XML_ErrorString(XML_GetErrorCode(parser_)),
                                                XML_GetCurrentLineNumber(parser_)));
        if (!root_) throw PropertyListError("it holds no value");
        return std::move(*root_);
    }

  private:
    struct Level {
        std::string element;
        std::string text = {};               // of a leaf
        std::optional<std::string> key = {}; // of a dictionary, waiting for its value
        JSONValue value = {};
    };

    static PropertyListBuilder& of(void* self) { return *static_cast<PropertyListBuilder*>(self); }

    template <typename Work>
    void guarded(Work&& work) {
        if (problem_) return;
        try {
            work();
        } catch (...) {
            problem_ = std::current_exception();
            XML_StopParser(parser_, XML_FALSE);
        }
    }
    void fail(const char* reason) {
        guarded([&] { throw PropertyListError(reason); });
    }

    void begin(std::string_view name) {
        const std::string_view parent = levels_.empty() ? "" : std::string_view(levels_.back().element);
        if (levels_.empty() != (name == "plist"))
            throw PropertyListError("it is XML, but not a property list");
        if (levels_.size() > deepestNesting) throw PropertyListError("it is nested too deeply");
        if (!parent.empty() && parent != "plist" && parent != "dict" && parent != "array")
            throw PropertyListError("an element stands inside of a text");
        if (parent == "plist" && root_) throw PropertyListError("it holds more than one value");
        if (parent == "dict" && (name == "key") == levels_.back().key.has_value())
            throw PropertyListError("keys and values of a dictionary do not alternate");
        levels_.push_back({.element = std::string(name)});
        if (name == "dict") levels_.back().value = JSONValue::object();
        if (name == "array") levels_.back().value = JSONValue::array();
    }

    void add(std::string_view text) {
        if (levels_.empty()) return;
        Level& level = levels_.back();
        const bool isContainer =
            level.element == "plist" || level.element == "dict" || level.element == "array";
        if (!isContainer)
            level.text += text;
        else if (!isBlank(text))
            throw PropertyListError("text stands between its elements");
    }

    void end() {
        Level level = std::move(levels_.back());
        levels_.pop_back();
        if (level.element == "plist") return;
        if (level.key) throw PropertyListError("a key has no value");
        if (level.element == "key") {
            if (levels_.back().element != "dict")
                throw PropertyListError("a key stands outside of a dictionary");
            levels_.back().key = std::move(level.text);
            return;
        }
        JSONValue value = valueOf(std::move(level));
        Level& parent = levels_.back();
        if (parent.element == "plist")
            root_ = std::move(value);
        else if (parent.element == "array")
            parent.value.items()->push_back(std::move(value));
        else
            parent.value.members()->emplace_back(*std::exchange(parent.key, std::nullopt), std::move(value));
    }

    static JSONValue valueOf(Level level) {
        if (level.element == "dict" || level.element == "array") return std::move(level.value);
        if (level.element == "string" || level.element == "date" || level.element == "data")
            return std::move(level.text);
        if (level.element == "integer") return integerOf(level.text);
        if (level.element == "real") return realOf(level.text);
        if (level.element == "true" || level.element == "false") return level.element == "true";
        throw PropertyListError(fmt::format("it holds the unknown element \"{}\"",
                                            escapeControls(graphemePrefix(level.element, 40))));
    }

    XML_Parser parser_;
    std::vector<Level> levels_;
    std::optional<JSONValue> root_;
    std::exception_ptr problem_;
};

} // namespace

JSONValue readPropertyList(std::string_view text) {
    const std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser(
        XML_ParserCreate(nullptr), &XML_ParserFree);
    if (!parser) throw std::bad_alloc();
    return PropertyListBuilder(parser.get()).take(text);
}

} // namespace quorvel
