#include "kiv/base/nativeLibrary.h"

#include "platform/moduleLoader.h"

namespace kiv {

RefPtr<NativeLibrary> NativeLibrary::Create(const char* path) {
    if (path == nullptr || *path == '\0')
        return nullptr;
    return CreateWithHandle(platform::LoadModule(path), true);
}

RefPtr<NativeLibrary> NativeLibrary::CreateWithHandle(NativeLibraryHandle handle,
                                                      bool closeHandle) {
    if (handle == nullptr)
        return nullptr;
    return RefPtr<NativeLibrary>::Adopt(new NativeLibrary(handle, closeHandle));
}

RefPtr<NativeLibrary> NativeLibrary::CreateForCurrentProcess() {
    return CreateWithHandle(platform::ProgramModule(), false);
}

NativeLibrary::~NativeLibrary() {
    if (closeHandle_)
        platform::UnloadModule(handle_);
}

NativeLibrary::Symbol NativeLibrary::Resolve(const char* symbol) const {
    return symbol ? platform::FindSymbol(handle_, symbol) : nullptr;
}

}  // namespace kiv
