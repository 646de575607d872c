#pragma once

/// Marks what the shared library offers to its host. Everything else is compiled with hidden
/// visibility; the linker's version script and the checked-in symbol list keep it that way.
#define TVIOJSONTREE_EXPORT __attribute__((visibility("default")))

/// Keeps a private member of an exported class inside the library.
#define TVIOJSONTREE_LOCAL __attribute__((visibility("hidden")))
