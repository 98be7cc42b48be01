#include "ShortestDouble.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace quillvane {

namespace {

// The n significant digits (1 to 17) of `value` correctly rounded, and their decimal exponent.
struct Decimal {
    char digits[18] = {};
    int count = 0;
    int exponent = 0;
};

Decimal nearest(double value, int count) {
    char text[40];
    std::snprintf(text, sizeof text, "%.*e", count - 1, value);
    Decimal d;
    d.count = count;
    d.digits[0] = text[0];
    if (count > 1)
        std::memcpy(d.digits + 1, text + 2, static_cast<std::size_t>(count - 1));
    d.exponent = std::atoi(text + (count > 1 ? count + 2 : 2));
    return d;
}

// Writes `number` in decimal at `p` and moves `p` past it.
void appendDecimal(char*& p, std::uint64_t number) {
    char reversed[20];
    int length = 0;
    do {
        reversed[length++] = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number > 0);
    while (length > 0)
        *p++ = reversed[--length];
}

bool readsBack(double value, const Decimal& d) {
    char text[40];
    std::memcpy(text, d.digits, static_cast<std::size_t>(d.count));
    char* p = text + d.count;
    *p++ = 'e';
    const int exponent = d.exponent - (d.count - 1);
    if (exponent < 0)
        *p++ = '-';
    appendDecimal(p, static_cast<std::uint64_t>(std::abs(exponent)));
    *p = '\0';
    return std::strtod(text, nullptr) == value;
}

// The same number of digits one unit higher or lower in the last place; false when that would
// change the number of digits.
bool neighbour(Decimal& d, int step) {
    int i = d.count - 1;
    const char wrap = step > 0 ? '9' : '0';
    while (i >= 0 && d.digits[i] == wrap)
        d.digits[i--] = step > 0 ? '0' : '9';
    if (i < 0)
        return false;
    d.digits[i] = static_cast<char>(d.digits[i] + step);
    return d.digits[0] != '0';
}

// `digits` significant digits of `value`, correctly rounded: cut from its 17 digits, which is the
// same unless the part cut off is exactly a half there (the 17 digits are rounded themselves);
// then printed afresh.
Decimal rounded(double value, const Decimal& all, int digits) {
    if (digits >= all.count)
        return all;
    bool half = all.digits[digits] == '5';
    for (int i = digits + 1; half && i < all.count; ++i)
        half = all.digits[i] == '0';
    if (half)
        return nearest(value, digits);
    Decimal d = all;
    d.count = digits;
    if (all.digits[digits] >= '5' && !neighbour(d, 1)) {
        d.digits[0] = '1'; // 9.99... rounds up to 10.0...
        ++d.exponent;
    }
    return d;
}

// A multiple of 1/256 under 2^20 has an exact decimal of at most 15 significant digits (7 before
// the point, 8 after), and no other decimal that short reads back as the same double: that is its
// shortest form, found without printing. Pointer motion is sent in such steps.
bool exactQuanta(double value, Decimal& d) {
    const double scaled = value * 256;
    if (!(value < 1048576) || scaled != std::floor(scaled))
        return false;
    const auto units = static_cast<std::uint64_t>(scaled);
    // The integer part, then eight decimals of the fraction (1/256 = 0.00390625).
    char text[24];
    char* end = text;
    appendDecimal(end, units >> 8);
    int length = static_cast<int>(end - text);
    const int pointAt = length;
    std::uint64_t fraction = (units & 255) * 390625;
    for (int i = 7; i >= 0; --i) {
        text[pointAt + i] = static_cast<char>('0' + fraction % 10);
        fraction /= 10;
    }
    length += 8;
    int first = 0;
    while (first < length - 1 && text[first] == '0')
        ++first;
    int last = length;
    while (last > first + 1 && text[last - 1] == '0')
        --last;
    d.count = last - first;
    std::memcpy(d.digits, text + first, static_cast<std::size_t>(d.count));
    d.exponent = pointAt - first - 1;
    return true;
}

// The fewest digits that read back. If the nearest decimal with n digits reads back, so does the
// nearest with n + 1, which allows a search; most doubles of pointer motion need 16 or 17, so
// the search starts there.
Decimal shortest(double value) {
    if (Decimal exact; exactQuanta(value, exact))
        return exact;
    const Decimal all = nearest(value, 17);
    const auto fits = [&](int count) { return readsBack(value, rounded(value, all, count)); };
    int count = 17;
    if (fits(16)) {
        count = 16;
        if (fits(15)) {
            int low = 1;
            count = 15;
            while (low < count) {
                const int middle = (low + count) / 2;
                if (fits(middle))
                    count = middle;
                else
                    low = middle + 1;
            }
        }
    }
    // At a power of two the doubles below are twice as dense as above, and a neighbour of the
    // nearest decimal one digit shorter may read back where the nearest does not.
    int binaryExponent = 0;
    if (count > 1 && std::frexp(value, &binaryExponent) == 0.5) {
        const Decimal shorter = rounded(value, all, count - 1);
        for (const int step : {-1, 1}) {
            Decimal candidate = shorter;
            if (neighbour(candidate, step) && readsBack(value, candidate))
                return candidate;
        }
    }
    return rounded(value, all, count);
}

} // namespace

std::size_t formatShortestDouble(double value, char* out) {
    char* p = out;
    if (std::signbit(value)) {
        *p++ = '-';
        value = -value;
    }
    if (value == 0) {
        *p++ = '0';
        return static_cast<std::size_t>(p - out);
    }
    Decimal d = shortest(value);
    int n = d.count;
    while (n > 1 && d.digits[n - 1] == '0')
        --n;
    const int e = d.exponent;
    const auto copy = [&](int from, int count) {
        std::memcpy(p, d.digits + from, static_cast<std::size_t>(count));
        p += count;
    };

    char exponentText[8];
    const int exponentLength =
        std::snprintf(exponentText, sizeof exponentText, "e%c%02d", e < 0 ? '-' : '+', std::abs(e));
    const int scientificLength = n + (n > 1 ? 1 : 0) + exponentLength;
    const int fixedLength = e >= 0 ? (n <= e + 1 ? e + 1 : n + 1) : 1 - e + n;
    if (fixedLength > scientificLength) {
        *p++ = d.digits[0];
        if (n > 1) {
            *p++ = '.';
            copy(1, n - 1);
        }
        std::memcpy(p, exponentText, static_cast<std::size_t>(exponentLength));
        p += exponentLength;
    } else if (e < 0) {
        *p++ = '0';
        *p++ = '.';
        for (int i = 0; i < -e - 1; ++i)
            *p++ = '0';
        copy(0, n);
    } else if (n <= e + 1) {
        // A whole number: of the decimals of this length the exact one is nearest.
        p += std::snprintf(p, kShortestDoubleSize - 1, "%.0f", value);
    } else {
        copy(0, e + 1);
        *p++ = '.';
        copy(e + 1, n - e - 1);
    }
    return static_cast<std::size_t>(p - out);
}

} // namespace quillvane
