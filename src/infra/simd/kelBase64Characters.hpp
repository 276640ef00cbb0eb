#pragma once

/// The two alphabets of RFC 4648, by value. Tables of all kinds are made of them while compiling.
namespace tarvo::simd {

using Base64Characters = char[65];

constexpr Base64Characters standardCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr Base64Characters safeCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

}  // namespace tarvo::simd
