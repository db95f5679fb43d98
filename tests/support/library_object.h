// A sibling library loaded for a test, with the decoder object its
// AUDIODEC_Create makes; both go with the holder.
#pragma once

#include "platform/kernel.h"

template <class Decoder>
class LibraryObject {
public:
    explicit LibraryObject(const char* path) : module_(LoadLibraryA(path))
    {
        using Create = int (*)(void**);
        auto create = module_ ? platform::procAddress<Create>(module_, "AUDIODEC_Create") : nullptr;
        void* made = nullptr;
        if (create && create(&made) == 0)
            decoder_ = static_cast<Decoder*>(made);
    }
    ~LibraryObject()
    {
        if (decoder_)
            decoder_->Destroy(1);
        if (module_)
            FreeLibrary(module_);
    }
    LibraryObject(const LibraryObject&) = delete;
    LibraryObject& operator=(const LibraryObject&) = delete;

    Decoder* operator->() { return decoder_; }
    explicit operator bool() const { return decoder_ != nullptr; }

protected:
    Decoder* decoder_ = nullptr;

private:
    HMODULE module_;
};
