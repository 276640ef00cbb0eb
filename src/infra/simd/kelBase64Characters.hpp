#pragma once

/// The two alphabets of RFC 4648, in the order of the values. The compiler computes all other Base64 tables
/// from these two alphabets.
namespace tarvo::simd {

using Base64Characters = char[65];

constexpr Base64Characters standardCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr Base64Characters safeCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

}  // namespace tarvo::simd
