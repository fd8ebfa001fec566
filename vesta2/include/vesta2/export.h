#pragma once

/// Marks what the shared library exports; everything else is hidden.
#define VESTA2_API __attribute__((visibility("default")))
