// Sources are compiled in groups and over a precompiled header, which both hide a missing include of the
// standard library; another compiler or another grouping then refuses the file.
#include "Platform/files/Files.h"

#include <gtest/gtest.h>
#include <re2/re2.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace quorvel {

namespace {

using Headers = std::set<std::string, std::less<>>;

// A header and the names that ask for it. Left out are names that every container brings along.
struct NamesOfHeader {
    std::string_view header;
    std::string_view names;
};
constexpr NamesOfHeader namesOfHeaders[] = {
    {"algorithm",
     "sort stable_sort find find_if find_if_not any_of all_of none_of count count_if transform copy_if remove_if "
     "reverse min max clamp minmax min_element max_element equal lower_bound upper_bound binary_search unique "
     "replace fill mismatch search starts_with rotate shuffle includes set_difference set_intersection set_union "
     "partition generate for_each is_sorted adjacent_find lexicographical_compare merge nth_element"},
    {"array", "array to_array"},
    {"atomic", "atomic"},
    {"charconv", "from_chars to_chars errc"},
    {"chrono", "chrono"},
    {"cmath", "abs floor ceil round pow log sqrt isfinite isnan lround llround"},
    {"cstdlib", "getenv abs"},
    {"cstring", "memcpy memcmp strlen strerror memset"},
    {"condition_variable", "condition_variable condition_variable_any"},
    {"deque", "deque"},
    {"exception", "exception exception_ptr current_exception rethrow_exception"},
    {"filesystem", "filesystem"},
    {"fstream", "ifstream ofstream fstream"},
    {"functional", "function reference_wrapper ref cref bind_front"},
    {"future", "future promise shared_future async"},
    {"iostream", "cout cerr cin"},
    {"limits", "numeric_limits"},
    {"map", "map multimap"},
    {"memory", "unique_ptr shared_ptr weak_ptr make_unique make_shared enable_shared_from_this"},
    {"mutex", "mutex lock_guard unique_lock scoped_lock recursive_mutex once_flag call_once"},
    {"numeric", "accumulate iota reduce gcd lcm inner_product"},
    {"optional", "optional nullopt make_optional"},
    {"random", "mt19937 mt19937_64 random_device uniform_int_distribution uniform_real_distribution"},
    {"set", "set multiset"},
    {"span", "span"},
    {"sstream", "ostringstream istringstream stringstream"},
    {"stdexcept", "runtime_error logic_error out_of_range invalid_argument exception"},
    {"stop_token", "stop_token stop_source stop_callback"},
    {"string", "string to_string"},
    {"system_error", "error_code system_error errc generic_category"},
    {"thread", "thread jthread this_thread stop_token stop_source"},
    {"tuple", "tuple tie make_tuple"},
    {"unordered_map", "unordered_map"},
    {"unordered_set", "unordered_set"},
    {"variant", "variant visit holds_alternative get_if monostate"},
    {"vector", "vector"},
};

std::map<std::string, Headers, std::less<>> headersByName() {
    std::map<std::string, Headers, std::less<>> headers;
    for (const auto& [header, names] : namesOfHeaders) {
        std::istringstream words{std::string(names)};
        for (std::string name; words >> name;)
            headers[name].emplace(header);
    }
    headers["error_code"].emplace("filesystem");
    headers["array"].emplace("span");
    return headers;
}

// The headers in angle brackets that a file sees by its own includes and those of the tree.
class Includes {
  public:
    explicit Includes(std::filesystem::path root) : root_(std::move(root)) {}

    const Headers& of(const std::string& path) {
        const auto [place, isNew] = seen_.try_emplace(path);
        if (!isNew || !std::filesystem::is_regular_file(root_ / path)) return place->second;
        static const RE2 line("(?m)^#include ([<\"])([^>\"]+)[>\"]");
        const std::string text = readFile(root_ / path).value_or("");
        re2::StringPiece rest = text;
        std::string bracket, name;
        Headers headers;
        while (RE2::FindAndConsume(&rest, line, &bracket, &name))
            if (bracket == "<")
                headers.insert(name);
            else
                headers.merge(Headers(of(name)));
        return seen_[path] = std::move(headers);
    }

  private:
    std::filesystem::path root_;
    std::map<std::string, Headers, std::less<>> seen_;
};

std::string withoutCommentsAndLiterals(std::string text) {
    static const RE2 literals(
        R"((?s)R"(?:json|html|xml)?\(.*?\)(?:json|html|xml)?"|//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*")");
    RE2::GlobalReplace(&text, literals, "\"\"");
    return text;
}

std::vector<std::string> missingIncludes(const std::filesystem::path& root, const std::string& path,
                                         Includes& includes) {
    static const auto headers = headersByName();
    static const RE2 use("std::(?:ranges::)?([a-z_0-9]+)");
    const std::string text = withoutCommentsAndLiterals(readFile(root / path).value_or(""));
    re2::StringPiece rest = text;
    std::set<std::string> missing;
    for (std::string name; RE2::FindAndConsume(&rest, use, &name);) {
        const auto wanted = headers.find(name);
        if (wanted == headers.end()) continue;
        const Headers& seen = includes.of(path);
        if (std::ranges::none_of(wanted->second, [&](const auto& header) { return seen.contains(header); }))
            missing.insert(path + ": std::" + name + " needs #include <" + *wanted->second.begin() + ">");
    }
    return {missing.begin(), missing.end()};
}

} // namespace

TEST(StandardIncludes, EveryFileIncludesTheStandardHeadersThatItUses) {
    const std::filesystem::path root = QUORVEL_SOURCE_DIR;
    Includes includes(root);
    std::size_t files = 0;
    std::string missing;
    for (const char* folder :
         {"Platform", "Core", "Quorvel", "Programs", "Sandbox", "Tests", "Fuzz", "Benchmarks"})
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folder)) {
            const auto& path = entry.path();
            if (path.extension() != ".h" && path.extension() != ".cpp") continue;
            ++files;
            for (const std::string& line :
                 missingIncludes(root, path.lexically_relative(root).string(), includes))
                missing += line + "\n";
        }
    EXPECT_GT(files, 500u);
    EXPECT_EQ(missing, "");
}

} // namespace quorvel
