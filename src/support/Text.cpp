#include "support/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <utility>

namespace lentora::text {

namespace {

struct CodePoint {
    char32_t value = 0;
    std::size_t length = 1;
    bool valid = false;
};

// Decodes the code point at the start of `text`, which is not empty.
CodePoint decode(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80)
        return {lead, 1, true};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length)
        return {lead, 1, false};
    char32_t value = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80)
            return {lead, 1, false};
        value = value << 6 | (byte(i) & 0x3FU);
    }
    return {value, length, true};
}

void encode(char32_t value, std::string& out) {
    const auto append = [&](char32_t byte) { out += static_cast<char>(byte); };
    if (value < 0x80) {
        append(value);
    } else if (value < 0x800) {
        append(0xC0 | value >> 6);
        append(0x80 | (value & 0x3F));
    } else {
        append(0xE0 | value >> 12);
        append(0x80 | (value >> 6 & 0x3F));
        append(0x80 | (value & 0x3F));
    }
}

bool isSpace(char32_t c) {
    return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F ||
           c == 0x205F || c == 0x3000;
}

constexpr char32_t replacement = 0xFFFD;

// What decodes well is no character yet: it may be a half of a pair, written longer than it has to
// be, or too large.
bool isCharacter(const CodePoint& point) {
    constexpr std::array<char32_t, 5> smallestOfLength{0, 0, 0x80, 0x800, 0x10000};
    return point.value >= smallestOfLength[point.length] && point.value <= 0x10FFFF &&
           (point.value < 0xD800 || point.value > 0xDFFF);
}

// The text is the beginning of a character that would go on.
bool isCutOff(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    return lead >= 0xC2 && lead <= 0xF4 && text.size() < length &&
           std::ranges::all_of(text.substr(1), [](char byte) {
               return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
           });
}

bool isControl(char32_t c) {
    const bool turnsDirection = c == 0x061C || c == 0x200E || c == 0x200F ||
                                (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
    return c < 0x20 || (c >= 0x7F && c < 0xA0) || turnsDirection;
}

// Ranges of lower-case letters whose capitals lie at a fixed distance below; with a step of 2,
// capitals and small letters alternate.
struct CaseRange {
    char32_t first;
    char32_t last;
    char32_t distance;
    char32_t step;
};

constexpr std::array<CaseRange, 19> caseRanges{{
    {0x61, 0x7A, 32, 1},   // a–z
    {0xE0, 0xF6, 32, 1},   // à–ö
    {0xF8, 0xFE, 32, 1},   // ø–þ
    {0x101, 0x12F, 1, 2},  // ā–į
    {0x133, 0x137, 1, 2},  // ĳ–ķ
    {0x13A, 0x148, 1, 2},  // ĺ–ň
    {0x14B, 0x177, 1, 2},  // ŋ–ŷ
    {0x17A, 0x17E, 1, 2},  // ź–ž
    {0x1A1, 0x1A5, 1, 2},  // ơ–ƥ
    {0x1B0, 0x1B0, 1, 1},  // ư
    {0x219, 0x21F, 1, 2},  // ș–ȟ
    {0x3AD, 0x3AF, 37, 1}, // έ–ί
    {0x3B1, 0x3C1, 32, 1}, // α–ρ
    {0x3C3, 0x3CB, 32, 1}, // σ–ϋ
    {0x430, 0x44F, 32, 1}, // а–я
    {0x450, 0x45F, 80, 1}, // ѐ–џ
    {0x48B, 0x4BF, 1, 2},  // ҋ–ҿ
    {0x4C2, 0x4CE, 1, 2},  // ӂ–ӎ
    {0x4D1, 0x52F, 1, 2},  // ӑ–ԯ
}};

char32_t upper(char32_t c) {
    for (const CaseRange& range : caseRanges) {
        if (c >= range.first && c <= range.last && (c - range.first) % range.step == 0)
            return c - range.distance;
    }
    // Single letters whose capitals lie elsewhere: µ ÿ ı ə ά ς ό ύ ώ ӏ.
    constexpr std::array<std::pair<char32_t, char32_t>, 10> others{{{0xB5, 0x39C},
                                                                    {0xFF, 0x178},
                                                                    {0x131, U'I'},
                                                                    {0x259, 0x18F},
                                                                    {0x3AC, 0x386},
                                                                    {0x3C2, 0x3A3},
                                                                    {0x3CC, 0x38C},
                                                                    {0x3CD, 0x38E},
                                                                    {0x3CE, 0x38F},
                                                                    {0x4CF, 0x4C0}}};
    for (const auto& [small, capital] : others) {
        if (c == small)
            return capital;
    }
    return c;
}

} // namespace

std::string_view trimmed(std::string_view text) {
    std::size_t begin = 0;
    std::size_t end = 0;
    bool started = false;
    for (std::size_t at = 0; at < text.size();) {
        const CodePoint point = decode(text.substr(at));
        if (!point.valid || !isSpace(point.value)) {
            if (!started)
                begin = at;
            started = true;
            end = at + point.length;
        }
        at += point.length;
    }
    return text.substr(begin, end - begin);
}

std::string upperCased(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const CodePoint point = decode(text);
        if (point.valid && point.value == 0xDF)
            out += "SS";
        else if (point.valid && upper(point.value) != point.value)
            encode(upper(point.value), out);
        else
            out.append(text.substr(0, point.length));
        text.remove_prefix(point.length);
    }
    return out;
}

std::string asciiLowerCased(std::string_view text) {
    std::string out(text);
    std::ranges::transform(out, out.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return out;
}

std::string printable(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const CodePoint point = decode(text);
        const bool real = point.valid && isCharacter(point);
        if (!real && isCutOff(text))
            break;
        if (!real)
            encode(replacement, out);
        else if (isSpace(point.value))
            out += ' ';
        else if (!isControl(point.value))
            out.append(text.substr(0, point.length));
        // Of what is no character, the bytes that only continue it tell nothing more.
        text.remove_prefix(real ? point.length : 1);
    }
    return out;
}

std::string fromLatin1(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char byte : text)
        encode(static_cast<unsigned char>(byte), out);
    return out;
}

std::string onOneLine(std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7F)
            out += c;
        else
            (out += "\\u00") += {digits[byte >> 4], digits[byte & 0xF]};
    }
    return out;
}

std::string fixed(double value, int decimals) {
    // Room for the largest double, written out.
    std::array<char, 400> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                      std::chars_format::fixed, decimals);
    return {buffer.data(), result.ptr};
}

std::string wholeMilliseconds(double seconds) {
    return std::to_string(static_cast<std::int64_t>(seconds * 1000));
}

std::string filled(std::string_view format, std::string_view argument) {
    constexpr std::string_view place = "{}";
    std::string out(format);
    if (const auto found = out.find(place); found != std::string::npos)
        out.replace(found, place.size(), argument);
    return out;
}

} // namespace lentora::text
