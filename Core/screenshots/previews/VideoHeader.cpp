#include "Core/screenshots/previews/VideoHeader.h"

#include "Platform/task/Task.h"
#include "Platform/text/Text.h"

#include <fmt/format.h>

#include <array>
#include <string_view>
#include <utility>

namespace quorvel {

namespace {

constexpr int mostBoxes = 20'000; // of a whole file; real ones have a few hundred
constexpr std::uint32_t unknownDuration32 = 0xFFFF'FFFF;
constexpr std::uint64_t unknownDuration64 = 0xFFFF'FFFF'FFFF'FFFF;

[[noreturn]] void failVideo(std::string_view problem) {
    throw VideoError(fmt::format("is damaged: {}. Export it again.", problem));
}

struct Box {
    std::string type;
    std::uint64_t begin = 0; // of its content
    std::uint64_t end = 0;
};

// The boxes lie in each other; each tells its type and its length.
class Boxes {
  public:
    explicit Boxes(const ImageBytes& bytes) : bytes_(bytes) {}

    [[nodiscard]] std::uint64_t size() const { return bytes_.size; }

    // A big-endian number of `Count` bytes at an offset of a box's content.
    template <std::size_t Count>
    [[nodiscard]] std::uint64_t number(const Box& box, std::uint64_t offset) const {
        static_assert(Count <= 8);
        if (box.end - box.begin < Count || offset > box.end - box.begin - Count)
            failVideo(fmt::format("its box {} is too short", shown(box.type)));
        std::uint64_t number = 0;
        for (const char byte : take<Count>(box.begin + offset))
            number = number << 8 | static_cast<std::uint8_t>(byte);
        return number;
    }

    // The box that begins at `at` and must end by `end`.
    [[nodiscard]] Box boxAt(std::uint64_t at, std::uint64_t end) {
        checkCancellation();
        if (++count_ > mostBoxes) failVideo("it has too many boxes");
        if (end - at < 8) failVideo("it ends early");
        const Box head{"header", at, at + 8};
        const auto type = take<4>(at + 4);
        Box box{{type.begin(), type.end()}, at + 8, end};
        std::uint64_t length = number<4>(head, 0);
        if (length == 1) { // a longer number follows
            if (end - at < 16) failVideo("it ends early");
            length = number<8>({"header", at, at + 16}, 8);
            box.begin = at + 16;
        } else if (length == 0) {
            return box; // it goes to the end
        }
        if (length < box.begin - at) failVideo(fmt::format("its box {} has no length", shown(box.type)));
        if (length > end - at) failVideo("it ends early");
        box.end = at + length;
        return box;
    }

    // Calls `visit` with each box within `outer` until it returns true.
    template <typename Visit>
    void forEach(const Box& outer, Visit&& visit) {
        // Old tools close a list with four zero bytes.
        for (std::uint64_t at = outer.begin; outer.end - at >= 8;) {
            const Box box = boxAt(at, outer.end);
            if (visit(box)) return;
            at = box.end;
        }
    }

    // The first box along a path within `outer`.
    [[nodiscard]] std::optional<Box> find(const Box& outer, std::string_view type) {
        std::optional<Box> found;
        forEach(outer, [&](const Box& box) {
            if (box.type == type) found = box;
            return found.has_value();
        });
        return found;
    }
    template <typename... More>
    [[nodiscard]] std::optional<Box> find(const Box& outer, std::string_view type, More... more) {
        const auto next = find(outer, type);
        return next ? find(*next, more...) : std::nullopt;
    }

    [[nodiscard]] std::string text4(const Box& box, std::uint64_t offset) const {
        std::string text;
        for (std::uint64_t at = 0; at < 4; ++at)
            text += static_cast<char>(number<1>(box, offset + at));
        return text;
    }

    [[nodiscard]] static std::string shown(std::string_view type) {
        return escapeControls(repairUTF8(std::string(type)));
    }

  private:
    template <std::size_t Count>
    [[nodiscard]] std::array<char, Count> take(std::uint64_t offset) const {
        std::array<char, Count> buffer{};
        if (bytes_.read(offset, buffer) != Count) failVideo("it ends early");
        return buffer;
    }

    const ImageBytes& bytes_;
    int count_ = 0;
};

// Of mvhd and mdhd, which begin alike. Nothing for a duration that is not known, as of a file in fragments.
std::optional<double> secondsOf(const Boxes& boxes, const Box& header) {
    const bool isLong = boxes.number<1>(header, 0) == 1;
    const std::uint64_t scale = isLong ? boxes.number<4>(header, 20) : boxes.number<4>(header, 12);
    const std::uint64_t duration = isLong ? boxes.number<8>(header, 24) : boxes.number<4>(header, 16);
    if (scale == 0) failVideo("its time scale is 0");
    if (duration == 0 || duration == (isLong ? unknownDuration64 : unknownDuration32)) return std::nullopt;
    return static_cast<double>(duration) / static_cast<double>(scale);
}

// Width and height as the track is shown, which a matrix may turn.
PixelSize sizeOfTrack(const Boxes& boxes, const Box& header) {
    const std::uint64_t matrix = boxes.number<1>(header, 0) == 1 ? 52 : 40;
    const auto whole = [](std::uint64_t fixed) { return static_cast<std::uint32_t>(fixed >> 16); };
    const PixelSize size{whole(boxes.number<4>(header, matrix + 36)),
                         whole(boxes.number<4>(header, matrix + 40))};
    const bool isTurned = boxes.number<4>(header, matrix) == 0 && boxes.number<4>(header, matrix + 4) != 0;
    return isTurned ? PixelSize{size.height, size.width} : size;
}

std::optional<double> frameRateOf(Boxes& boxes, const Box& track) {
    const auto media = boxes.find(track, "mdia", "mdhd");
    const auto samples = boxes.find(track, "mdia", "minf", "stbl", "stsz");
    if (!media || !samples) return std::nullopt;
    const auto seconds = secondsOf(boxes, *media);
    const std::uint64_t count = boxes.number<4>(*samples, 8);
    if (!seconds || count == 0) return std::nullopt;
    return static_cast<double>(count) / *seconds;
}

std::optional<VideoHeader> headerOfTrack(Boxes& boxes, const Box& track) {
    const auto handler = boxes.find(track, "mdia", "hdlr");
    if (!handler || boxes.text4(*handler, 8) != "vide") return std::nullopt;
    const auto shown = boxes.find(track, "tkhd");
    const auto formats = boxes.find(track, "mdia", "minf", "stbl", "stsd");
    if (!shown || !formats || boxes.number<4>(*formats, 4) == 0) failVideo("its video has no description");
    const Box format = boxes.boxAt(formats->begin + 8, formats->end);
    VideoHeader header{.size = sizeOfTrack(boxes, *shown), .codec = format.type};
    if (header.size.width == 0 || header.size.height == 0)
        header.size = {static_cast<std::uint32_t>(boxes.number<2>(format, 24)),
                       static_cast<std::uint32_t>(boxes.number<2>(format, 26))};
    if (header.size.width == 0 || header.size.height == 0) failVideo("its video has no size");
    header.framesPerSecond = frameRateOf(boxes, track);
    return header;
}

} // namespace

VideoHeader readVideoHeader(const ImageBytes& bytes) {
    Boxes boxes(bytes);
    if (bytes.size == 0) throw VideoError("is empty. Export it again.");
    const Box whole{"file", 0, bytes.size};
    if (bytes.size < 8) throw VideoError("is no video. Export it as an MPEG-4 or QuickTime video.");
    // An old QuickTime file may begin with any of these.
    const std::string first = boxes.text4(whole, 4);
    if (first != "ftyp" && first != "moov" && first != "mdat" && first != "wide" && first != "free" &&
        first != "skip")
        throw VideoError("is no MPEG-4 or QuickTime video by its content. Export it as one.");
    const auto movie = boxes.find(whole, "moov");
    if (!movie) failVideo("it has no list of its tracks (moov), as when a recording was not finished");
    const auto time = boxes.find(*movie, "mvhd");
    if (!time) failVideo("it has no header (mvhd)");
    std::optional<VideoHeader> header;
    boxes.forEach(*movie, [&](const Box& box) {
        if (box.type == "trak") header = headerOfTrack(boxes, box);
        return header.has_value();
    });
    if (!header) throw VideoError("shows no picture: it has no video track. Export it again.");
    header->seconds = secondsOf(boxes, *time);
    return std::move(*header);
}

VideoHeader readVideoHeader(const std::filesystem::path& file) {
    try {
        return readVideoHeader(openImageBytes(file));
    } catch (const ImageError& error) {
        throw VideoError(error.what());
    }
}

} // namespace quorvel
