#pragma once

/// Marks what libtviojsoncolumns offers; everything else is compiled with hidden visibility.
#define TVIOJSONCOLUMNS_EXPORT __attribute__((visibility("default")))
