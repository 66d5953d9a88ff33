/// The array interface of the host: every array that enters or leaves the gateway is made and read
/// through these functions. They are ordinary exported functions with C linkage, so any host that
/// defines them can load the gateway.
///
/// Arrays are column-major and zero-initialised. No dimensions give 0-by-0; one dimension n gives
/// n-by-1; otherwise the dimensions are kept as given, trailing ones too. Creation and vlMalloc
/// never return null: what cannot be had is raised as "VORLAN:outOfMemory". Arrays that a call
/// made and did not hand out, and blocks that it did not free, are reclaimed when the call ends.
#pragma once

#include <stddef.h>
#include <stdint.h>

/// Lets the compiler check the arguments of a printf-style message.
#define VL_PRINTF_FORMAT __attribute__((format(printf, 2, 3)))
#define VL_NORETURN __attribute__((noreturn))

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vlArray vlArray;

typedef enum vlClassID {
  vlUNKNOWN_CLASS,
  vlCELL_CLASS,
  vlSTRUCT_CLASS,
  vlLOGICAL_CLASS,
  vlCHAR_CLASS,
  vlDOUBLE_CLASS,
  vlSINGLE_CLASS,
  vlINT8_CLASS,
  vlUINT8_CLASS,
  vlINT16_CLASS,
  vlUINT16_CLASS,
  vlINT32_CLASS,
  vlUINT32_CLASS,
  vlINT64_CLASS,
  vlUINT64_CLASS
} vlClassID;

typedef enum vlComplexity { vlREAL, vlCOMPLEX } vlComplexity;

typedef uint16_t vlChar;    ///< One UTF-16 code unit.
typedef uint8_t vlLogical;  ///< 0 or 1.

vlClassID vlGetClassID(const vlArray* array);
/// The class as users know it, "double" or "cell" for example; lives as long as the host.
const char* vlGetClassName(const vlArray* array);
size_t vlGetNumberOfElements(const vlArray* array);
size_t vlGetNumberOfDimensions(const vlArray* array);
const size_t* vlGetDimensions(const vlArray* array);
void* vlGetData(const vlArray* array);
/// The elements of a logical array; null for any other class.
vlLogical* vlGetLogicals(const vlArray* array);
/// The text of a char array: the low 8 bits of every element in storage order, then a NUL. The
/// block is freed with vlFree. Null for any other class.
char* vlArrayToString(const vlArray* array);

vlArray* vlCreateDoubleScalar(double value);
/// A 1-by-N char row; every byte becomes one element, widened as an unsigned value.
vlArray* vlCreateString(const char* text);
vlArray* vlCreateCharArray(size_t numDims, const size_t* dims);
vlArray* vlCreateNumericArray(size_t numDims, const size_t* dims, vlClassID classId,
                              vlComplexity complexity);
vlArray* vlCreateNumericMatrix(size_t rows, size_t columns, vlClassID classId,
                               vlComplexity complexity);
vlArray* vlCreateLogicalArray(size_t numDims, const size_t* dims);
vlArray* vlCreateCellMatrix(size_t rows, size_t columns);
/// Stores `value` in the cell, which owns it from then on.
void vlSetCell(vlArray* cell, size_t index, vlArray* value);

void* vlMalloc(size_t size);
void vlFree(void* block);

/// Raises an error: unwinds to the host with an exception of the host's own. `%d` takes an int and
/// `%u` an unsigned; anything wider is cast at the call.
void vlErrMsgIdAndTxt(const char* identifier, const char* format, ...) VL_PRINTF_FORMAT VL_NORETURN;
/// Shows a warning and returns.
void vlWarningMsgIdAndTxt(const char* identifier, const char* format, ...) VL_PRINTF_FORMAT;

#ifdef __cplusplus
}  // extern "C"
#endif
