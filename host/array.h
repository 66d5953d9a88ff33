/// The array interface of the host: every array that enters or leaves the gateway is made and read
/// through these functions. They are ordinary exported functions with C linkage; any host that
/// defines them can load the gateway. docs/hosting.md shows how.
///
/// Arrays are column-major. What a call made and did not hand out, and blocks that it did not free,
/// the host reclaims when the call has ended, never earlier: while an error unwinds, the plug-in
/// still frees blocks. All functions are called on the thread that called the plug-in.
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

// Reading. None of these raises an error but vlArrayToString; pointers stay valid, and the array
// where it is, as long as the array lives.

vlClassID vlGetClassID(const vlArray* array);
/// The class as users know it, "double" or "cell" for example, for messages; never null.
const char* vlGetClassName(const vlArray* array);
/// The product of the dimensions.
size_t vlGetNumberOfElements(const vlArray* array);
/// At least two.
size_t vlGetNumberOfDimensions(const vlArray* array);
const size_t* vlGetDimensions(const vlArray* array);
/// The elements of a numeric, logical or char array, aligned for their type, the same memory each
/// time; may be null for an empty array. Outputs are written through it, inputs are only read.
void* vlGetData(const vlArray* array);
/// The elements of a logical array; null for any other class.
vlLogical* vlGetLogicals(const vlArray* array);
/// The text of a char array: the low 8 bits of every element in storage order, then a NUL. A block
/// as from vlMalloc, which the plug-in frees with vlFree. Null for any other class.
char* vlArrayToString(const vlArray* array);

// Creating. The array belongs to the host, which keeps it until the call ends, or longer where it
// is in an output slot then. All elements are zero, in a cell null. Never null: memory that cannot
// be had, and dimensions whose product overflows, are the error "VORLAN:outOfMemory". `dims` may be
// null where `numDims` is 0; no dimensions give 0-by-0, one dimension n gives n-by-1, more are kept
// as they are, trailing ones too.

/// A 1-by-1 double.
vlArray* vlCreateDoubleScalar(double value);
/// A 1-by-N char row from the bytes before the NUL; every byte becomes one element, widened as an
/// unsigned value. An empty text gives 1-by-0.
vlArray* vlCreateString(const char* text);
vlArray* vlCreateCharArray(size_t numDims, const size_t* dims);
/// `classId` is one of the ten numeric classes. The gateway asks for vlREAL only; a host may refuse
/// vlCOMPLEX with an error.
vlArray* vlCreateNumericArray(size_t numDims, const size_t* dims, vlClassID classId,
                              vlComplexity complexity);
vlArray* vlCreateNumericMatrix(size_t rows, size_t columns, vlClassID classId,
                               vlComplexity complexity);
vlArray* vlCreateLogicalArray(size_t numDims, const size_t* dims);
vlArray* vlCreateCellMatrix(size_t rows, size_t columns);
/// Stores `value` in the cell, which owns it from then on; `index` counts from 0 in storage order.
void vlSetCell(vlArray* cell, size_t index, vlArray* value);

/// A block that is aligned as by malloc and not zeroed; never null, also for 0 bytes. Memory that
/// cannot be had is the error "VORLAN:outOfMemory".
void* vlMalloc(size_t size);
/// Frees a block of vlMalloc or vlArrayToString; does nothing for null. Raises no error: it is
/// called while errors unwind.
void vlFree(void* block);

/// Raises an error: throws a C++ exception of the host's own, which unwinds through the plug-in and
/// which the host catches. Both texts are copied: they may go with the frames. `%d` takes an int
/// and
/// `%u` an unsigned; anything wider is cast at the call. The message may be of any length.
void vlErrMsgIdAndTxt(const char* identifier, const char* format, ...) VL_PRINTF_FORMAT VL_NORETURN;
/// Shows a warning, or keeps it, and returns.
void vlWarningMsgIdAndTxt(const char* identifier, const char* format, ...) VL_PRINTF_FORMAT;

#ifdef __cplusplus
}  // extern "C"
#endif
