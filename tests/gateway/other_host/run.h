// The way into the shared library that holds the other host and its tests.
#pragma once

extern "C" int runTests(int count, char** arguments);
