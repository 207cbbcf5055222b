#include "platform/x11/KeyboardMap.h"

#include <X11/keysym.h>

#include <algorithm>

namespace lentora::x11 {

namespace {

constexpr std::int32_t noCode = -1;

// XF86Fn, which not every version of the keysym headers knows.
constexpr xcb_keysym_t fnKeysym = 0x100811D0;

// The core's key code of each place on the keyboard, by X key code: the evdev code plus 8.
constexpr auto codesByPlace = [] {
    std::array<std::int32_t, 256> codes{};
    codes.fill(noCode);
    constexpr std::array<std::int32_t, 83> firstRows{
        // Escape, digits, minus, equal, backspace
        53, 18, 19, 20, 21, 23, 22, 26, 28, 25, 29, 27, 24, 51,
        // Tab to right bracket, Return, left Control
        48, 12, 13, 14, 15, 17, 16, 32, 34, 31, 35, 33, 30, 36, 59,
        // A to grave, left Shift
        0, 1, 2, 3, 5, 4, 38, 40, 37, 41, 39, 50, 56,
        // Backslash, Z to slash, right Shift, keypad *, left Alt, Space, Caps Lock
        42, 6, 7, 8, 9, 11, 45, 46, 43, 47, 44, 60, 67, 58, 49, 57,
        // F1 to F10, Num Lock, Scroll Lock
        122, 120, 99, 118, 96, 97, 98, 100, 101, 109, 71, noCode,
        // Keypad 7 8 9 - 4 5 6 + 1 2 3 0 .
        89, 91, 92, 78, 86, 87, 88, 69, 83, 84, 85, 82, 65};
    for (std::size_t i = 0; i < firstRows.size(); ++i)
        codes[9 + i] = firstRows[i];
    constexpr std::array<std::array<std::int32_t, 2>, 39> others{{
        {94, 10},   {95, 103},  {96, 111},  {104, 76},  {105, 62},  {106, 75},  {108, 61},
        {110, 115}, {111, 126}, {112, 116}, {113, 123}, {114, 124}, {115, 119}, {116, 125},
        {117, 121}, {118, 114}, {119, 117}, {121, 74},  {122, 73},  {123, 72},  {125, 81},
        {129, 95},  {130, 104}, {131, 102}, {132, 93},  {133, 55},  {134, 54},  {135, 110},
        {191, 105}, {192, 107}, {193, 113}, {194, 106}, {195, 64},  {196, 79},  {197, 80},
        {198, 90},  {151, 63},  {97, 94},   {127, 113},
    }};
    for (const auto& [keycode, code] : others)
        codes[static_cast<std::size_t>(keycode)] = code;
    return codes;
}();

EventFlags flagsOf(xcb_keysym_t keysym) {
    using namespace eventFlag;
    switch (keysym) {
    case XK_Shift_L:
        return shift | leftShift;
    case XK_Shift_R:
        return shift | rightShift;
    case XK_Control_L:
        return control | leftControl;
    case XK_Control_R:
        return control | rightControl;
    case XK_Alt_L:
    case XK_Meta_L:
        return option | leftOption;
    case XK_Alt_R:
    case XK_Meta_R:
    case XK_ISO_Level3_Shift:
    case XK_Mode_switch:
        return option | rightOption;
    case XK_Super_L:
    case XK_Hyper_L:
        return command | leftCommand;
    case XK_Super_R:
    case XK_Hyper_R:
        return command | rightCommand;
    case fnKeysym:
        return fn;
    default:
        return 0;
    }
}

bool isLock(xcb_keysym_t keysym) {
    return keysym == XK_Caps_Lock || keysym == XK_Shift_Lock || keysym == XK_Num_Lock ||
           keysym == XK_Scroll_Lock;
}

} // namespace

KeyboardMap::KeyboardMap(const Mapping& mapping) {
    coreKeyCodes_ = codesByPlace;
    for (std::size_t bit = 0; bit < mapping.modifiers.size(); ++bit) {
        for (const xcb_keycode_t keycode : mapping.modifiers[bit])
            modifiersOfKey_[keycode] |= static_cast<ModifierMask>(1U << bit);
    }
    lockMasks_ = XCB_MOD_MASK_LOCK;
    const auto perKey = static_cast<std::size_t>(std::max(mapping.keysymsPerKeycode, 0));
    for (std::size_t i = 0; perKey > 0 && (i + 1) * perKey <= mapping.keysyms.size(); ++i) {
        const std::size_t keycode = mapping.firstKeycode + i;
        if (keycode >= flags_.size())
            break;
        // The plain meaning of the key; what it means with Shift or in another layout is not it.
        const xcb_keysym_t keysym = mapping.keysyms[i * perKey];
        flags_[keycode] = flagsOf(keysym);
        const auto* const meanings = &mapping.keysyms[i * perKey];
        if (modifiersOfKey_[keycode] == 0 &&
            std::all_of(meanings, meanings + perKey, [](xcb_keysym_t s) { return s == 0; }))
            unusedKeycode_ = static_cast<xcb_keycode_t>(keycode);
        if (isLock(keysym))
            lockMasks_ |= modifiersOfKey_[keycode];
        if (keysym == XK_Escape)
            coreKeyCodes_[keycode] = keyCode::escape;
        else if (coreKeyCodes_[keycode] == keyCode::escape && keysym != XCB_NO_SYMBOL)
            coreKeyCodes_[keycode] = noCode;
    }
}

std::optional<KeyboardMap> KeyboardMap::read(const Connection& connection) {
    xcb_connection_t* c = connection.get();
    if (connection.isLost())
        return std::nullopt;
    const xcb_setup_t* setup = xcb_get_setup(c);
    const auto keycodeCount =
        static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const auto keyboardCookie = xcb_get_keyboard_mapping(c, setup->min_keycode, keycodeCount);
    const auto modifierCookie = xcb_get_modifier_mapping(c);
    const XcbPtr<xcb_get_keyboard_mapping_reply_t> keyboard(
        xcb_get_keyboard_mapping_reply(c, keyboardCookie, nullptr));
    const XcbPtr<xcb_get_modifier_mapping_reply_t> modifiers(
        xcb_get_modifier_mapping_reply(c, modifierCookie, nullptr));
    if (!keyboard || !modifiers)
        return std::nullopt;

    Mapping mapping;
    mapping.firstKeycode = setup->min_keycode;
    mapping.keysymsPerKeycode = keyboard->keysyms_per_keycode;
    const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(keyboard.get());
    mapping.keysyms.assign(keysyms,
                           keysyms + xcb_get_keyboard_mapping_keysyms_length(keyboard.get()));
    const xcb_keycode_t* keycodes = xcb_get_modifier_mapping_keycodes(modifiers.get());
    const std::size_t perModifier = modifiers->keycodes_per_modifier;
    for (std::size_t bit = 0; bit < mapping.modifiers.size(); ++bit) {
        for (std::size_t i = 0; i < perModifier; ++i) {
            if (const auto keycode = keycodes[bit * perModifier + i]; keycode != 0)
                mapping.modifiers[bit].push_back(keycode);
        }
    }
    return KeyboardMap(mapping);
}

std::optional<std::uint16_t> KeyboardMap::coreKeyCode(xcb_keycode_t keycode) const {
    const std::int32_t code = coreKeyCodes_[keycode];
    if (code == noCode)
        return std::nullopt;
    return static_cast<std::uint16_t>(code);
}

std::vector<xcb_keycode_t> KeyboardMap::keycodesOf(std::uint16_t coreKeyCode) const {
    std::vector<xcb_keycode_t> keycodes;
    for (std::size_t keycode = 0; keycode < coreKeyCodes_.size(); ++keycode) {
        if (coreKeyCodes_[keycode] == coreKeyCode)
            keycodes.push_back(static_cast<xcb_keycode_t>(keycode));
    }
    return keycodes;
}

ModifierMask KeyboardMap::masksOf(EventFlags family) const {
    ModifierMask masks = 0;
    for (std::size_t keycode = 0; keycode < flags_.size(); ++keycode) {
        if ((flags_[keycode] & family) != 0)
            masks |= modifiersOfKey_[keycode];
    }
    return masks;
}

} // namespace lentora::x11
