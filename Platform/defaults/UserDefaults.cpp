#include "Platform/defaults/UserDefaults.h"

#include "Platform/files/FileLock.h"
#include "Platform/json/JSON.h"

namespace quorvel {

namespace {

constexpr const char* changed = "changed";

struct Stored {
    JSONValue values = JSONValue::object();
    bool isDamaged = false;
};

Stored load(const std::filesystem::path& file) {
    const auto text = readFile(file);
    if (!text) return {};
    try {
        auto values = decodeJSON<JSONValue>(*text);
        if (values.members()) return {std::move(values), false};
    } catch (const JSONError&) {
        // told by isDamaged
    }
    return {JSONValue::object(), true};
}

std::optional<JSONValue> valueOf(const std::filesystem::path& file, std::string_view key) {
    Stored stored = load(file);
    JSONValue* found = stored.values.find(key);
    return found ? std::optional(std::move(*found)) : std::nullopt;
}

template <typename T>
std::optional<T> valueAs(const std::filesystem::path& file, std::string_view key) {
    auto found = valueOf(file, key);
    T* value = found ? std::get_if<T>(&found->value) : nullptr;
    return value ? std::optional(std::move(*value)) : std::nullopt;
}

std::filesystem::path lockOf(const std::filesystem::path& file) {
    std::string name = ".";
    name.append(file.filename().native()).append(".lock");
    return file.parent_path() / name;
}

void moveAside(const std::filesystem::path& file) {
    std::filesystem::path aside = file;
    aside += ".damaged";
    std::error_code error;
    std::filesystem::rename(file, aside, error);
    if (error) throw FileError(file, "is damaged and cannot be moved aside", error.value());
}

// Changes the stored values under the lock file; whether `change` changed any.
template <typename Change>
bool update(const std::filesystem::path& file, Change change) {
    createFolders(file.parent_path());
    const FileLock lock(lockOf(file));
    Stored stored = load(file);
    const JSONValue before = stored.values;
    change(stored.values);
    if (stored.values == before) return false;
    if (stored.isDamaged) moveAside(file);
    writeFileAtomically(file, encodeJSON(stored.values, JSONFormat::stateFile()) + "\n", FileMode::secret);
    return true;
}

} // namespace

struct UserDefaults::State {
    std::filesystem::path file;
    NotificationCenter observers;
};

UserDefaults::UserDefaults(std::filesystem::path file) : state_(std::make_unique<State>()) {
    state_->file = std::move(file);
}
UserDefaults::~UserDefaults() = default;

std::optional<std::string> UserDefaults::string(std::string_view key) const {
    return valueAs<std::string>(state_->file, key);
}

std::optional<std::int64_t> UserDefaults::integer(std::string_view key) const {
    return valueAs<std::int64_t>(state_->file, key);
}

std::optional<double> UserDefaults::number(std::string_view key) const {
    const auto found = valueOf(state_->file, key);
    if (!found) return std::nullopt;
    // 3.0 is stored as 3.
    if (const std::int64_t* integer = found->integer()) return static_cast<double>(*integer);
    const double* number = std::get_if<double>(&found->value);
    return number ? std::optional(*number) : std::nullopt;
}

std::optional<bool> UserDefaults::boolean(std::string_view key) const {
    return valueAs<bool>(state_->file, key);
}

std::optional<std::vector<std::string>> UserDefaults::strings(std::string_view key) const {
    const auto items = valueAs<JSONValue::Array>(state_->file, key);
    if (!items) return std::nullopt;
    std::vector<std::string> texts;
    for (const JSONValue& item : *items) {
        if (!item.text()) return std::nullopt;
        texts.push_back(*item.text());
    }
    return texts;
}

void UserDefaults::set(std::string_view key, JSONValue value) {
    if (update(state_->file, [&](JSONValue& values) { values.set(key, std::move(value)); }))
        state_->observers.post({changed, {{"key", std::string(key)}}});
}

void UserDefaults::remove(std::string_view key) {
    if (update(state_->file, [&](JSONValue& values) { values.erase(key); }))
        state_->observers.post({changed, {{"key", std::string(key)}}});
}

NotificationCenter::Subscription UserDefaults::observe(std::function<void(std::string_view key)> observer) {
    return state_->observers.observe(changed,
                                     [observer = std::move(observer)](const Notification& notification) {
                                         observer(notification.payload.at("key"));
                                     });
}

} // namespace quorvel
