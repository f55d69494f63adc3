// The body of a request, from memory or from a part of a file.
#pragma once

#include "Platform/http/HTTPMessage.h"

#include <cstddef>
#include <span>
#include <string_view>

namespace quorvel {

/// Reads the body of one request in order; holds no more of a file than what is asked for.
class BodySource {
  public:
    /// Opens the file of a `FileSlice`. Throws `TransportError` (`localFile`) when it is no readable regular
    /// file or is shorter than the slice. A body in memory must outlive the source.
    explicit BodySource(const HTTPRequest& request);
    ~BodySource();
    BodySource(const BodySource&) = delete;
    BodySource& operator=(const BodySource&) = delete;

    [[nodiscard]] std::uint64_t size() const { return size_; }

    /// Fills `buffer` as far as bytes are left and returns how many there were. Throws `TransportError`
    /// (`localFile`) when the file cannot be read or became shorter.
    [[nodiscard]] std::size_t read(std::span<char> buffer);

    /// Continues at `position`, counted from the start of the body.
    void seek(std::uint64_t position) { position_ = position; }

  private:
    void open(const FileSlice& slice);
    [[nodiscard]] std::size_t readFile(std::span<char> buffer);

    std::string_view memory_;
    FileSlice slice_;
    int descriptor_ = -1;
    std::uint64_t size_ = 0;
    std::uint64_t position_ = 0;
};

} // namespace quorvel
