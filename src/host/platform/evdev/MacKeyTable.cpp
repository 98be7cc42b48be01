#include "platform/evdev/MacKeyTable.h"

#include <array>

#include <linux/input-event-codes.h>

namespace quillvane {
namespace {

constexpr std::uint16_t none = KEY_RESERVED;

// Indexed by Mac virtual key code. The ISO and JIS keys follow the USB usage each Mac key
// reports, which is also how Linux names those keys on a Mac keyboard plugged into it: the key
// between Shift and Z (ISO section, 10) is the "102nd" key, Eisu and Kana are the Korean/Japanese
// language keys, Help sits where Insert is and keypad Clear where Num Lock is.
constexpr std::array<std::uint16_t, 128> table = [] {
    std::array<std::uint16_t, 128> keys{};
    keys.fill(none);
    // Letters.
    keys[0] = KEY_A;
    keys[1] = KEY_S;
    keys[2] = KEY_D;
    keys[3] = KEY_F;
    keys[4] = KEY_H;
    keys[5] = KEY_G;
    keys[6] = KEY_Z;
    keys[7] = KEY_X;
    keys[8] = KEY_C;
    keys[9] = KEY_V;
    keys[11] = KEY_B;
    keys[12] = KEY_Q;
    keys[13] = KEY_W;
    keys[14] = KEY_E;
    keys[15] = KEY_R;
    keys[16] = KEY_Y;
    keys[17] = KEY_T;
    keys[31] = KEY_O;
    keys[32] = KEY_U;
    keys[34] = KEY_I;
    keys[35] = KEY_P;
    keys[37] = KEY_L;
    keys[38] = KEY_J;
    keys[40] = KEY_K;
    keys[45] = KEY_N;
    keys[46] = KEY_M;
    // Digits.
    keys[18] = KEY_1;
    keys[19] = KEY_2;
    keys[20] = KEY_3;
    keys[21] = KEY_4;
    keys[22] = KEY_6;
    keys[23] = KEY_5;
    keys[25] = KEY_9;
    keys[26] = KEY_7;
    keys[28] = KEY_8;
    keys[29] = KEY_0;
    // Punctuation.
    keys[10] = KEY_102ND;
    keys[24] = KEY_EQUAL;
    keys[27] = KEY_MINUS;
    keys[30] = KEY_RIGHTBRACE;
    keys[33] = KEY_LEFTBRACE;
    keys[39] = KEY_APOSTROPHE;
    keys[41] = KEY_SEMICOLON;
    keys[42] = KEY_BACKSLASH;
    keys[43] = KEY_COMMA;
    keys[44] = KEY_SLASH;
    keys[47] = KEY_DOT;
    keys[50] = KEY_GRAVE;
    // Editing and control keys.
    keys[36] = KEY_ENTER;
    keys[48] = KEY_TAB;
    keys[49] = KEY_SPACE;
    keys[51] = KEY_BACKSPACE;
    keys[53] = KEY_ESC;
    keys[110] = KEY_COMPOSE;
    keys[114] = KEY_INSERT;
    keys[115] = KEY_HOME;
    keys[116] = KEY_PAGEUP;
    keys[117] = KEY_DELETE;
    keys[119] = KEY_END;
    keys[121] = KEY_PAGEDOWN;
    keys[123] = KEY_LEFT;
    keys[124] = KEY_RIGHT;
    keys[125] = KEY_DOWN;
    keys[126] = KEY_UP;
    // Modifiers: Command is the Super (Windows) key, Option is Alt.
    keys[54] = KEY_RIGHTMETA;
    keys[55] = KEY_LEFTMETA;
    keys[56] = KEY_LEFTSHIFT;
    keys[57] = KEY_CAPSLOCK;
    keys[58] = KEY_LEFTALT;
    keys[59] = KEY_LEFTCTRL;
    keys[60] = KEY_RIGHTSHIFT;
    keys[61] = KEY_RIGHTALT;
    keys[62] = KEY_RIGHTCTRL;
    // Function keys.
    keys[122] = KEY_F1;
    keys[120] = KEY_F2;
    keys[99] = KEY_F3;
    keys[118] = KEY_F4;
    keys[96] = KEY_F5;
    keys[97] = KEY_F6;
    keys[98] = KEY_F7;
    keys[100] = KEY_F8;
    keys[101] = KEY_F9;
    keys[109] = KEY_F10;
    keys[103] = KEY_F11;
    keys[111] = KEY_F12;
    keys[105] = KEY_F13;
    keys[107] = KEY_F14;
    keys[113] = KEY_F15;
    keys[106] = KEY_F16;
    keys[64] = KEY_F17;
    keys[79] = KEY_F18;
    keys[80] = KEY_F19;
    keys[90] = KEY_F20;
    // Keypad.
    keys[65] = KEY_KPDOT;
    keys[67] = KEY_KPASTERISK;
    keys[69] = KEY_KPPLUS;
    keys[71] = KEY_NUMLOCK;
    keys[75] = KEY_KPSLASH;
    keys[76] = KEY_KPENTER;
    keys[78] = KEY_KPMINUS;
    keys[81] = KEY_KPEQUAL;
    keys[82] = KEY_KP0;
    keys[83] = KEY_KP1;
    keys[84] = KEY_KP2;
    keys[85] = KEY_KP3;
    keys[86] = KEY_KP4;
    keys[87] = KEY_KP5;
    keys[88] = KEY_KP6;
    keys[89] = KEY_KP7;
    keys[91] = KEY_KP8;
    keys[92] = KEY_KP9;
    // Volume.
    keys[72] = KEY_VOLUMEUP;
    keys[73] = KEY_VOLUMEDOWN;
    keys[74] = KEY_MUTE;
    // Japanese keyboards.
    keys[93] = KEY_YEN;
    keys[94] = KEY_RO;
    keys[95] = KEY_KPJPCOMMA;
    keys[102] = KEY_HANJA;
    keys[104] = KEY_HANGEUL;
    return keys;
}();

} // namespace

std::optional<std::uint16_t> evdevKeyForMacKey(std::uint16_t macKeyCode) {
    if (macKeyCode >= table.size() || table[macKeyCode] == none)
        return std::nullopt;
    return table[macKeyCode];
}

} // namespace quillvane
