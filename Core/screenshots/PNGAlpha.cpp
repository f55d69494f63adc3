#include "Core/screenshots/PNGAlpha.h"

#include "Core/screenshots/ImageHeader.h"
#include "Platform/task/Task.h"

#include <fmt/format.h>

#include <png.h>
#include <stdlib.h>

#include <array>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace quorvel {

namespace {

constexpr std::uint64_t mostPixels = 200'000'000; // far above what a screenshot has

struct Closer {
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, Closer>;

OpenFile openPNG(const std::filesystem::path& file, const char* mode, std::string_view verb) {
    OpenFile opened(std::fopen(file.c_str(), mode));
    if (!opened)
        throw ImageError(fmt::format("cannot be {}: {}", verb, std::generic_category().message(errno)));
    return opened;
}

using PNGProblem = std::array<char, 160>; // what the library says last

[[noreturn]] void leave(png_structp png, png_const_charp text) {
    auto& problem = *static_cast<PNGProblem*>(png_get_error_ptr(png));
    std::strncpy(problem.data(), text, problem.size() - 1);
    png_longjmp(png, 1);
}

void ignore(png_structp, png_const_charp) {}

// The library leaves `work` by a jump when it fails, so no destructor may be due in it.
template <typename Work>
bool succeeds(png_structp png, const Work& work) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    work();
    return true;
}

// A picture with an alpha channel, row by row; a row is of grey or of true colour with alpha, 8 or 16 bits.
class AlphaReader {
  public:
    explicit AlphaReader(const std::filesystem::path& file)
        : file_(openPNG(file, "rb", "read")),
          png_(png_create_read_struct(PNG_LIBPNG_VER_STRING, &problem_, leave, ignore)),
          info_(png_ ? png_create_info_struct(png_) : nullptr) {
        if (!info_) {
            png_destroy_read_struct(&png_, nullptr, nullptr);
            throw std::bad_alloc();
        }
        try {
            begin();
        } catch (...) {
            png_destroy_read_struct(&png_, &info_, nullptr);
            throw;
        }
    }
    ~AlphaReader() { png_destroy_read_struct(&png_, &info_, nullptr); }
    AlphaReader(const AlphaReader&) = delete;
    AlphaReader& operator=(const AlphaReader&) = delete;

    [[nodiscard]] png_structp png() const { return png_; }
    [[nodiscard]] png_infop info() const { return info_; }
    [[nodiscard]] png_uint_32 height() const { return png_get_image_height(png_, info_); }

    // The rows in their order; each is valid until the next is asked for.
    png_bytep next() {
        const png_uint_32 number = nextRow_++;
        if (isWhole_) return pixels_.data() + number * rowBytes_;
        if (number % 64 == 0) checkCancellation();
        require([&] { png_read_row(png_, pixels_.data(), nullptr); });
        return pixels_.data();
    }
    // Reads what stands behind the pixels.
    void finish() {
        require([&] { png_read_end(png_, info_); });
    }
    [[nodiscard]] bool isOpaque(const png_byte* row) const {
        if (channels_ % 2 != 0) return true; // no alpha
        const std::size_t pixel = channels_ * sampleBytes_;
        for (const png_byte* alpha = row + pixel - sampleBytes_; alpha < row + rowBytes_; alpha += pixel)
            if (alpha[0] != 0xFF || alpha[sampleBytes_ - 1] != 0xFF) return false;
        return true;
    }

  private:
    template <typename Work>
    void require(const Work& work) {
        if (!succeeds(png_, work))
            throw ImageError(fmt::format("is damaged: {}. Export it again as a PNG image.", problem_.data()));
    }
    void begin() {
        int passes = 1;
        require([&] {
            png_init_io(png_, file_.get());
            png_read_info(png_, info_);
            png_set_expand(png_);
            passes = png_set_interlace_handling(png_);
            png_read_update_info(png_, info_);
        });
        const std::uint64_t pixelCount = std::uint64_t{height()} * png_get_image_width(png_, info_);
        if (pixelCount > mostPixels) throw ImageError("is too large for a copy without its alpha channel.");
        rowBytes_ = png_get_rowbytes(png_, info_);
        channels_ = png_get_channels(png_, info_);
        sampleBytes_ = png_get_bit_depth(png_, info_) / 8U;
        // The rows of an interlaced picture are whole only at its end.
        isWhole_ = passes > 1;
        pixels_.resize(rowBytes_ * (isWhole_ ? height() : 1));
        if (!isWhole_) return;
        for (int pass = 0; pass < passes; ++pass) {
            checkCancellation();
            for (png_uint_32 row = 0; row < height(); ++row)
                require([&] { png_read_row(png_, pixels_.data() + row * rowBytes_, nullptr); });
        }
    }

    PNGProblem problem_{};
    OpenFile file_;
    png_structp png_;
    png_infop info_;
    std::vector<png_byte> pixels_;
    std::size_t rowBytes_ = 0;
    std::size_t channels_ = 0;
    std::size_t sampleBytes_ = 1;
    png_uint_32 nextRow_ = 0;
    bool isWhole_ = false;
};

class OpaqueWriter {
  public:
    // Says about the picture what `reader` knows of it.
    OpaqueWriter(const std::filesystem::path& file, const AlphaReader& reader)
        : file_(openPNG(file, "wb", "copied")),
          png_(png_create_write_struct(PNG_LIBPNG_VER_STRING, &problem_, leave, ignore)),
          info_(reader.info()) {
        if (!png_) throw std::bad_alloc();
        const png_structp from = reader.png();
        const int colour = png_get_color_type(from, info_), depth = png_get_bit_depth(from, info_);
        const bool hasAlpha = (colour & PNG_COLOR_MASK_ALPHA) != 0;
        const png_uint_32 width = png_get_image_width(from, info_), height = reader.height();
        try {
            require([&] {
                png_init_io(png_, file_.get());
                png_set_IHDR(png_, info_, width, height, depth, colour & ~PNG_COLOR_MASK_ALPHA,
                             PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
                // They speak of the palette or of the channel.
                png_set_invalid(png_, info_,
                                PNG_INFO_PLTE | PNG_INFO_tRNS | PNG_INFO_hIST | PNG_INFO_bKGD |
                                    PNG_INFO_sBIT);
                png_write_info(png_, info_);
                if (hasAlpha) png_set_filler(png_, 0, PNG_FILLER_AFTER);
            });
        } catch (...) {
            png_destroy_write_struct(&png_, nullptr);
            throw;
        }
    }
    ~OpaqueWriter() { png_destroy_write_struct(&png_, nullptr); }
    OpaqueWriter(const OpaqueWriter&) = delete;
    OpaqueWriter& operator=(const OpaqueWriter&) = delete;

    void write(png_const_bytep row) {
        require([&] { png_write_row(png_, row); });
    }
    void finish() {
        require([&] { png_write_end(png_, info_); });
        if (std::fclose(file_.release()) != 0)
            throw ImageError(fmt::format("cannot be copied: {}", std::generic_category().message(errno)));
    }

  private:
    template <typename Work>
    void require(const Work& work) {
        if (!succeeds(png_, work)) throw ImageError(fmt::format("cannot be copied: {}", problem_.data()));
    }

    PNGProblem problem_{};
    OpenFile file_;
    png_structp png_;
    png_infop info_;
};

} // namespace

bool isOpaque(const std::filesystem::path& png) {
    AlphaReader reader(png);
    for (png_uint_32 row = 0; row < reader.height(); ++row)
        if (!reader.isOpaque(reader.next())) return false;
    return true;
}

void writeWithoutAlpha(const std::filesystem::path& png, const std::filesystem::path& copy) {
    AlphaReader reader(png);
    const png_uint_32 height = reader.height();
    OpaqueWriter writer(copy, reader);
    for (png_uint_32 row = 0; row < height; ++row) {
        const png_bytep pixels = reader.next();
        if (!reader.isOpaque(pixels)) throw ImageError(std::string(transparentText));
        writer.write(pixels);
    }
    reader.finish();
    writer.finish();
}

TemporaryCopies::TemporaryCopies() {
    std::string pattern = (std::filesystem::temp_directory_path() / "quorvel-XXXXXX").native();
    if (!::mkdtemp(pattern.data()))
        throw ImageError(fmt::format("Copies of the pictures cannot be made in {}: {}",
                                     std::filesystem::temp_directory_path().native(),
                                     std::generic_category().message(errno)));
    folder_ = pattern;
}

TemporaryCopies::~TemporaryCopies() {
    std::error_code unknown;
    std::filesystem::remove_all(folder_, unknown);
}

std::filesystem::path TemporaryCopies::place(std::size_t number, const std::filesystem::path& file) const {
    const auto folder = folder_ / std::to_string(number);
    std::error_code problem;
    std::filesystem::create_directory(folder, problem);
    if (problem) throw ImageError("cannot be copied: " + problem.message());
    return folder / file.filename();
}

} // namespace quorvel
