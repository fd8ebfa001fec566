#pragma once
/// Which names the shared library exports.

/// Marks what is exported; everything else is hidden.
#define BASEKIT2_API __attribute__((visibility("default")))
