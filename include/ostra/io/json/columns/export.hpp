#pragma once

/// Marks what libtviojsoncolumns offers; everything else is compiled with hidden visibility.
#define TVIOJSONCOLUMNS_EXPORT __attribute__((visibility("default")))

/// Keeps a private member of an exported class inside the library.
#define TVIOJSONCOLUMNS_LOCAL __attribute__((visibility("hidden")))
