#pragma once

/// The two alphabets of RFC 4648, in the order of the values. All other Base64 tables are computed from these
/// at compile time.
namespace tarvo::simd {

using Base64Characters = char[65];

constexpr Base64Characters standardCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr Base64Characters safeCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

}  // namespace tarvo::simd
