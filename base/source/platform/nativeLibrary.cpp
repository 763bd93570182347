#include "kiv/base/nativeLibrary.h"

#include "platform/moduleLoader.h"

namespace kiv {

RefPtr<NativeLibrary> NativeLibrary::Create(const char* path) {
    if (path == nullptr || *path == '\0')
        return nullptr;
    // The object comes first: a module is not left loaded because there was no memory for it.
    RefPtr<NativeLibrary> library = RefPtr<NativeLibrary>::Adopt(new NativeLibrary(nullptr, true));
    library->handle_ = platform::LoadModule(path);
    if (library->handle_ == nullptr)
        return nullptr;
    return library;
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
    if (handle_ != nullptr && closeHandle_)
        platform::UnloadModule(handle_);
}

NativeLibrarySymbol NativeLibrary::Resolve(const char* symbol) const {
    return symbol ? platform::FindSymbol(handle_, symbol) : nullptr;
}

}  // namespace kiv
