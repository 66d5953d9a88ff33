/// NumPy's C interface. Its table of functions stands once in the module; module.cpp, which defines
/// TARVIK_IMPORT_NUMPY, fills it.
#pragma once

#define NPY_NO_DEPRECATED_API NPY_2_0_API_VERSION
#define PY_ARRAY_UNIQUE_SYMBOL tarvik_numpy_functions
#ifndef TARVIK_IMPORT_NUMPY
#  define NO_IMPORT_ARRAY
#endif

#include <Python.h>
#include <array>
#include <numpy/arrayobject.h>

#include "host/array.h"

namespace pyhost {

/// A host class whose elements lie in memory as those of a NumPy type do.
struct ElementType {
  vlClassID classId;
  int numpyType;
  char kind;  ///< NumPy's letter for the kind.
  int size;   ///< Bytes of one element.
};

constexpr std::array<ElementType, 11> kElementTypes{{
    {vlDOUBLE_CLASS, NPY_FLOAT64, 'f', 8},
    {vlSINGLE_CLASS, NPY_FLOAT32, 'f', 4},
    {vlINT8_CLASS, NPY_INT8, 'i', 1},
    {vlUINT8_CLASS, NPY_UINT8, 'u', 1},
    {vlINT16_CLASS, NPY_INT16, 'i', 2},
    {vlUINT16_CLASS, NPY_UINT16, 'u', 2},
    {vlINT32_CLASS, NPY_INT32, 'i', 4},
    {vlUINT32_CLASS, NPY_UINT32, 'u', 4},
    {vlINT64_CLASS, NPY_INT64, 'i', 8},
    {vlUINT64_CLASS, NPY_UINT64, 'u', 8},
    {vlLOGICAL_CLASS, NPY_BOOL, 'b', 1},
}};

}  // namespace pyhost
