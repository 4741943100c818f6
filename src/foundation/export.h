// What a shared library of Quillfold shows of itself.
#pragma once

// A class or function of the public headers. All else is hidden.
#define QUILLFOLD_EXPORT __attribute__((visibility("default")))

// A function that one of Quillfold's libraries uses of another, and nobody else.
#define QUILLFOLD_EXPORT_INTERNAL QUILLFOLD_EXPORT
