#pragma once
/// Which names the shared library exports.

/// Marks what is exported; everything else is hidden.
#define VESTA2_API __attribute__((visibility("default")))
/// Marks what stays inside although the class around it is exported.
#define VESTA2_LOCAL __attribute__((visibility("hidden")))
