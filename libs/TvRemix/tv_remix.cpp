// The exported object of TvRemix.dll over the matrix decoder.
#include "libs/TvRemix/tv_remix.h"

#include <cstring>
#include <new>
#include <set>

#include "libs/TvRemix/matrix_decoder.h"
#include "platform/dshow/crit_sec.h"
#include "platform/module_exports.h"

namespace {

class Remix final : public TvRemixObject {
public:
    int STDMETHODCALLTYPE Reset() override
    {
        decoder_.reset();
        return 0;
    }

    int STDMETHODCALLTYPE GetParam(int id, void* value) override
    {
        if (!value)
            return -1;
        switch (id) {
            case kRemixConfiguration:
                *static_cast<int*>(value) = decoder_.configuration();
                return 0;
            case kRemixLfe:
                *static_cast<int*>(value) = 0;
                return 0;
            case kRemixChannelOrder:
                std::memcpy(value, order_, sizeof order_);
                return 0;
            case kRemixSampleRate:
                *static_cast<int*>(value) = decoder_.sampleRate();
                return 0;
            default:
                return -1;
        }
    }

    int STDMETHODCALLTYPE RemixProcess(const void* input, void* output, int inputBytes) override
    {
        if (!input || !output || inputBytes <= 0 || inputBytes % 4 != 0 || !decoder_.ready())
            return 0;
        size_t frames = static_cast<size_t>(inputBytes) / 4;
        decoder_.process(static_cast<const int16_t*>(input), static_cast<int16_t*>(output), frames);
        return static_cast<int>(frames * 2 * static_cast<size_t>(decoder_.outputChannels()));
    }

    int STDMETHODCALLTYPE Latency() override { return decoder_.latencyFrames(); }
    int STDMETHODCALLTYPE Version() override { return 1; }

    int STDMETHODCALLTYPE RemixSetParam(int id, const void* value) override
    {
        if (!value)
            return -1;
        switch (id) {
            case kRemixConfiguration:
                return decoder_.setConfiguration(*static_cast<const int*>(value)) ? 0 : -1;
            case kRemixLfe:
                // The matrix has no low-frequency channel to produce.
                return *static_cast<const int*>(value) == 0 ? 0 : -1;
            case kRemixChannelOrder: {
                int row[6];
                std::memcpy(row, value, sizeof row);
                bool seen[6] = {};
                for (int entry : row) {
                    if (entry < 0 || entry > 5 || seen[entry])
                        return -1;
                    seen[entry] = true;
                }
                std::memcpy(order_, row, sizeof row);
                return 0;
            }
            case kRemixSampleRate:
                return decoder_.setSampleRate(*static_cast<const int*>(value)) ? 0 : -1;
            default:
                return -1;
        }
    }

private:
    MatrixDecoder decoder_;
    int order_[6] = {0, 1, 2, 3, 4, 5};
};

// Objects still alive when the library is unloaded (a caller may unload it
// without destroying them) are freed with it.
class LiveObjects {
public:
    ~LiveObjects()
    {
        for (Remix* object : objects_)
            delete object;
    }
    void add(Remix* object)
    {
        CAutoLock guard(&lock_);
        objects_.insert(object);
    }
    bool remove(Remix* object)
    {
        CAutoLock guard(&lock_);
        return objects_.erase(object) != 0;
    }

private:
    CCritSec lock_;
    std::set<Remix*> objects_;
};

LiveObjects liveObjects;

}  // namespace

// Every sibling library exports this one signature: the loader calls it
// through a pointer of this type, whatever object it makes.
TV_C_EXPORT int AUDIODEC_Create(void** object)
{
    if (!object)
        return -1;
    auto* remix = new (std::nothrow) Remix;
    *object = static_cast<TvRemixObject*>(remix);
    if (!remix)
        return -1;
    liveObjects.add(remix);
    return 0;
}

TV_C_EXPORT void AUDIODEC_Destroy(TvRemixObject* object)
{
    auto* remix = static_cast<Remix*>(object);
    if (remix && liveObjects.remove(remix))
        delete remix;
}
