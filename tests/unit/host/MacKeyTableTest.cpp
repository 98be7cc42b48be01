#include <gtest/gtest.h>

#include <linux/input-event-codes.h>

#include "platform/evdev/MacKeyTable.h"

using namespace quillvane;

// Mac virtual key codes land on the key at the same place of a PC keyboard.
TEST(MacKeyTable, mapsKeysByPosition) {
    const std::pair<std::uint16_t, std::optional<std::uint16_t>> rows[] = {
        {0, KEY_A},          {6, KEY_Z},          {36, KEY_ENTER},     {48, KEY_TAB},
        {49, KEY_SPACE},     {50, KEY_GRAVE},     {51, KEY_BACKSPACE}, {53, KEY_ESC},
        {117, KEY_DELETE},   {115, KEY_HOME},     {119, KEY_END},      {116, KEY_PAGEUP},
        {121, KEY_PAGEDOWN}, {123, KEY_LEFT},     {124, KEY_RIGHT},    {125, KEY_DOWN},
        {126, KEY_UP},       {122, KEY_F1},       {111, KEY_F12},      {90, KEY_F20},
        {83, KEY_KP1},       {76, KEY_KPENTER},   {55, KEY_LEFTMETA},  {58, KEY_LEFTALT},
        {59, KEY_LEFTCTRL},  {56, KEY_LEFTSHIFT}, {63, std::nullopt},  {127, std::nullopt},
    };
    for (const auto& [mac, evdev] : rows)
        EXPECT_EQ(evdevKeyForMacKey(mac), evdev) << "Mac key " << mac;
}
