/// Which names leave the shared library.
#pragma once

/// Before a declaration: the name is one of the library's face; all others stay inside it.
#define POLEFIT_EXPORT __attribute__((visibility("default")))
