// Numbers and sizes beyond what the library's 32-bit counters hold.
#include <cstdint>
#include <limits>

#include "faults/library/harness.h"

namespace tarvik::faults {

namespace {

constexpr long largest = std::numeric_limits<std::int32_t>::max();

/// Moves values of the 6 in a record, at indices that pass 32 bits.
Seen wrappedIndex(long function, long index, long count) {
  File file;
  const long x = file.variable(CDF_INT4, {6});
  const Guarded values(3 * sizeof(int));
  file.value(x, PUT_, 0, values.data());
  return file.slab(x, function, {0, 1, 1, {index}, {count}, {largest}}, values.data()) >= 0
             ? Seen::wrongValues
             : Seen::nothing;
}

/// Writes a hyperslab of so many bytes and reads the last one back.
Seen largeSlab(File& file, long x, std::size_t bytes, const Slab& slab) {
  const Guarded values(bytes);
  std::array<char, 8> last{};
  values.data()[bytes - 1] = 6;
  file.slab(x, PUT_, slab, values.data());
  file.value(x, GET_, 0, last.data());
  return last.front() == 6 || last.back() == 6 ? Seen::nothing : Seen::wrongValues;
}

}  // namespace

const std::vector<Fault> numberFaults{
    {"record-2147483647-read", "read record 2147483647 of a compressed variable",
     "new int4 3; gzip 0; put 0 0; get 0 2147483647"},
    {"record-2147483647-write", "write record 2147483647 in a file compressed as a whole",
     "file rle; new int4 3; put 0 0; put 0 2147483647"},
    {"negative-record-read", "CDFgetVarRecordData of record -5 of a compressed variable",
     "new int4 3; gzip 0; put 0 0; get 0 -5"},
    {"negative-record-write", "CDFputVarRecordData of record -5 of a sparse variable",
     "new int4 3; sparse 0; put 0 0; put 0 -5"},
    {"hyperslab-record-2147483647", "read a hyperslab of compressed records 0 and 2147483647",
     "new int4 3; gzip 0; put 0 0; get 0 0 2 2147483647"},
    {"hyperslab-record-wraps", "write a hyperslab of sparse records 0, 2^30 and 2^31",
     "new int4; sparse 0; put 0 0 3 1073741824"},
    {"hyperslab-index-wraps", "read a hyperslab of indices 1 and 2^31",
     [] { return wrappedIndex(GET_, 1, 2); }},
    {"hyperslab-index-foreign", "write a hyperslab of indices 0, 2147483647 and 2^32 - 2",
     [] { return wrappedIndex(PUT_, 0, 3); }},
    {"sparse-record-2147483000", "write a value of record 2147483000 of a sparse variable",
     "new int4; sparse 0; value 0 2147483000"},
    {"sparse-blocking-factor", "blocking factor 2147483647, then sparse records 1 and 5",
     "new int4 3; sparse 0; block 0 2147483647; put 0 1; put 0 5"},
    {"allocation-to-2147483647", "allocate up to record 2147483647, file compressed as a whole",
     "file rle; new int4 3; put 0 0; allocate 0 0 2147483647"},
    {"record-of-4-gib", "use a variable whose record has 2^34 bytes",
     [] {
       File file;
       int value = 0;
       file.value(file.variable(CDF_INT4, {65536, 65536}), GET_, 0, &value);
       return Seen::nothing;
     }},
    {"record-of-2-gib", "write a value of a variable whose record has 2^31 bytes",
     [] {
       File file;
       char value = 1;
       file.value(file.variable(CDF_INT1, {32768, 65536}), PUT_, 0, &value);
       return file.fate();
     }},
    {"fixed-records-of-2-gib", "write a hyperslab of 2^31 bytes, records do not vary",
     [] {
       File file;
       return largeSlab(file, file.variable(CDF_DOUBLE, {16384}, NOVARY), 8UL * 16384 * 16385,
                        {0, 16385, 1, {0}, {16384}, {1}});
     }},
    {"fixed-dimensions-of-4-gib", "write a record of 2^32 bytes, dimensions do not vary",
     [] {
       File file;
       return largeSlab(file, file.variable(CDF_INT1, {65536, 65537}, VARY, NOVARY),
                        65536UL * 65537, {0, 1, 1, {0, 0}, {65536, 65537}, {1, 1}});
     }},
    {"entry-of-2-gib", "write an attribute entry of 2^31 bytes",
     [] {
       File file;
       const Guarded values(std::size_t{1} << 31);
       const long attribute = file.attribute("a");
       CDFputAttrEntry(file.id, globalEntries, attribute, 0, CDF_INT4, 1L << 29, values.data());
       return file.fate();
     }},
    {"value-without-memory", "create a variable of 2147483647 characters in 1 GiB of memory",
     [] {
       File file;
       limitMemory(std::size_t{1} << 30);
       long number = 0;
       file.on(CREATE_, zVAR_, "x", CDF_CHAR, largest, 0L, &number, VARY, &number, &number);
       return Seen::nothing;
     }},
    {"number-cut-to-32-bits", "delete variable 2^32",
     [] {
       File file;
       file.variable(CDF_INT4);
       return cdf::onVariable(file.id, 1L << 32, DELETE_, zVAR_) >= 0 ? Seen::otherObject
                                                                      : Seen::nothing;
     }},
    {"month-beyond-the-table", "computeTT2000 of month 1000000",
     [] {
       computeTT2000(2000.0, 1e6, 1.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0);
       return Seen::nothing;
     }},
};

}  // namespace tarvik::faults
