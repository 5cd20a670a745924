#pragma once

// On what a program that links the shared library may call; all else of it is hidden.
#define FEEDKIT_API __attribute__((visibility("default")))
// On what lies within such a class and is nobody else's business.
#define FEEDKIT_LOCAL __attribute__((visibility("hidden")))
