#include "Platform/text/ShortestEdit.h"

#include <algorithm>

namespace quorvel {

namespace {

using Pieces = std::vector<std::string_view>;

constexpr int mostEdits = 800;

// The greedy search for the shortest way from one list to the other (E. Myers, 1986): per number of
// edits and diagonal the furthest point reached, remembered to walk back from the end.
class ShortestEdit {
  public:
    ShortestEdit(const Pieces& before, const Pieces& after) : before_(before), after_(after) {}

    [[nodiscard]] std::optional<KeptPieces> search() {
        const int limit = std::min(mostEdits, rows() + columns());
        std::vector<int> reached(static_cast<std::size_t>(2 * limit + 3), 0);
        const auto at = [&](int diagonal) -> int& {
            return reached[static_cast<std::size_t>(diagonal + limit + 1)];
        };
        for (int edits = 0; edits <= limit; ++edits) {
            for (int diagonal = -edits; diagonal <= edits; diagonal += 2) {
                const bool down =
                    diagonal == -edits || (diagonal != edits && at(diagonal - 1) < at(diagonal + 1));
                int row = down ? at(diagonal + 1) : at(diagonal - 1) + 1;
                while (row < rows() && row - diagonal < columns() && row - diagonal >= 0 &&
                       piece(before_, row) == piece(after_, row - diagonal))
                    ++row;
                at(diagonal) = row;
                if (row == rows() && row - diagonal == columns()) return walkBack(edits);
            }
            history_.emplace_back(reached.begin() + limit + 1 - edits, reached.begin() + limit + 2 + edits);
        }
        return std::nullopt;
    }

  private:
    [[nodiscard]] int rows() const { return static_cast<int>(before_.size()); }
    [[nodiscard]] int columns() const { return static_cast<int>(after_.size()); }
    static std::string_view piece(const Pieces& pieces, int index) {
        return pieces[static_cast<std::size_t>(index)];
    }

    [[nodiscard]] KeptPieces walkBack(int edits) const {
        KeptPieces kept{std::vector<bool>(before_.size()), std::vector<bool>(after_.size())};
        int row = rows();
        int column = columns();
        for (; edits > 0; --edits) {
            const auto& reached = history_[static_cast<std::size_t>(edits - 1)];
            // The round before reached the diagonals from -(edits - 1) to edits - 1.
            const auto at = [&](int diagonal) {
                const int index = diagonal + edits - 1;
                const bool wasReached = index >= 0 && index < static_cast<int>(reached.size());
                return wasReached ? reached[static_cast<std::size_t>(index)] : -1;
            };
            const int diagonal = row - column;
            const bool down =
                diagonal == -edits || (diagonal != edits && at(diagonal - 1) < at(diagonal + 1));
            const int from = down ? at(diagonal + 1) : at(diagonal - 1);
            markKept(kept, row, column, down ? from : from + 1);
            row = from;
            column = row - (down ? diagonal + 1 : diagonal - 1);
        }
        markKept(kept, row, column, 0);
        return kept;
    }

    static void markKept(KeptPieces& kept, int row, int column, int startRow) {
        while (row > startRow) {
            --row;
            --column;
            kept.before[static_cast<std::size_t>(row)] = true;
            kept.after[static_cast<std::size_t>(column)] = true;
        }
    }

    const Pieces& before_;
    const Pieces& after_;
    std::vector<std::vector<int>> history_;
};

} // namespace

std::optional<KeptPieces> findKept(const std::vector<std::string_view>& before,
                                   const std::vector<std::string_view>& after) {
    return ShortestEdit(before, after).search();
}

} // namespace quorvel
