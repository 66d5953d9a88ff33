#include "python/src/provider.h"

#include <dlfcn.h>
#include <link.h>
#include <memory>

namespace pyhost {
namespace {

using Entry = ElfW(Rela);

struct Closer {
  void operator()(void* handle) const { dlclose(handle); }
};

ElfW(Addr) dynamicValue(const link_map& library, ElfW(Sxword) tag) {
  const ElfW(Dyn)* entry = library.l_ld;
  while (entry->d_tag != DT_NULL && entry->d_tag != tag) ++entry;
  return entry->d_tag == tag ? entry->d_un.d_val : 0;
}

/// Where calls that one of the library's two tables serves go; null if it serves no such calls.
const void* targetIn(const link_map& library, ElfW(Sxword) table, ElfW(Sxword) size,
                     const std::string& function) {
  const auto* const first = reinterpret_cast<const Entry*>(dynamicValue(library, table));
  const auto* const symbols = reinterpret_cast<const ElfW(Sym)*>(dynamicValue(library, DT_SYMTAB));
  const auto* const names = reinterpret_cast<const char*>(dynamicValue(library, DT_STRTAB));
  const Entry* const end = first + dynamicValue(library, size) / sizeof(Entry);
  for (const Entry* entry = first; entry != end; ++entry) {
    if (function == names + symbols[ELF64_R_SYM(entry->r_info)].st_name) {
      return *reinterpret_cast<const void* const*>(library.l_addr + entry->r_offset);
    }
  }
  return nullptr;
}

}  // namespace

std::string providerOf(const std::string& plugin, const std::string& member,
                       const std::string& function) {
  const std::unique_ptr<void, Closer> handle(dlopen(plugin.c_str(), RTLD_NOW | RTLD_NOLOAD));
  if (handle == nullptr) return {};
  Dl_info found;
  void* extra = nullptr;
  const void* const place = dlsym(handle.get(), member.c_str());
  if (place == nullptr || dladdr1(place, &found, &extra, RTLD_DL_LINKMAP) == 0) return {};
  const auto& caller = *static_cast<const link_map*>(extra);
  const void* target = targetIn(caller, DT_JMPREL, DT_PLTRELSZ, function);
  if (target == nullptr) target = targetIn(caller, DT_RELA, DT_RELASZ, function);
  return target != nullptr && dladdr(target, &found) != 0 ? found.dli_fname : std::string();
}

}  // namespace pyhost
