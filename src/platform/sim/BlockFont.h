// Letters of 3 x 5 squares: as much as it takes to read a picture of the simulated desktop.
#pragma once

namespace lentora::sim {

constexpr int blockFontColumns = 3;
constexpr int blockFontRows = 5;

/// Whether the square at `column` and `row` (from the top left) of a character is filled. Small
/// letters look like capitals; a character that the font lacks is a full block.
bool isFilled(char32_t codePoint, int column, int row);

} // namespace lentora::sim
