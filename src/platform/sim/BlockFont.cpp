#include "platform/sim/BlockFont.h"

#include <array>
#include <cstddef>

namespace lentora::sim {

namespace {

// Five rows from the top, an octal digit each; the digit's highest bit is the left column.
using Rows = unsigned;

constexpr Rows fullBlock = 077777;
constexpr Rows middleDot = 000200;

// From the blank to the underscore, as in ASCII.
constexpr std::array<Rows, 64> rows{
    000000, 022202, 055000, 057575, 036736, 051245, 025256, 022000, // space ! " # $ % & '
    012221, 042224, 005250, 002720, 000024, 000700, 000002, 011244, // ( ) * + , - . /
    075557, 026227, 071747, 071317, 055711, 074717, 074757, 071122, // 0 1 2 3 4 5 6 7
    075757, 075717, 002020, 002024, 012421, 007070, 042124, 071202, // 8 9 : ; < = > ?
    075747, 025755, 065656, 034443, 065556, 074647, 074644, 034553, // @ A B C D E F G
    055755, 072227, 011152, 055655, 044447, 057755, 065555, 025552, // H I J K L M N O
    065644, 025563, 065655, 034216, 072222, 055557, 055552, 055775, // P Q R S T U V W
    055255, 055222, 071247, 064446, 044211, 031113, 025000, 000007, // X Y Z [ \ ] ^ _
};

Rows rowsOf(char32_t codePoint) {
    if (codePoint == U'\u00b7')
        return middleDot;
    if (codePoint >= U'a' && codePoint <= U'z')
        codePoint -= U'a' - U'A';
    const std::size_t index = codePoint - U' '; // Very large for what comes before.
    return index < rows.size() ? rows[index] : fullBlock;
}

} // namespace

bool isFilled(char32_t codePoint, int column, int row) {
    const int bit = blockFontColumns * (blockFontRows - 1 - row) + blockFontColumns - 1 - column;
    return ((rowsOf(codePoint) >> static_cast<unsigned>(bit)) & 1U) != 0;
}

} // namespace lentora::sim
