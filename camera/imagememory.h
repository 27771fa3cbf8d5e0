// One image buffer allocated from the camera library, freed again when the
// object goes. Owned by ImageSequence; GUI thread only.
#pragma once

#include "camera/tavo_api.h"

#include <QCoreApplication>

struct ImageInfo;

class ImageMemory
{
    Q_DECLARE_TR_FUNCTIONS(ImageMemory)

public:
    // Throws std::runtime_error when the library can't allocate the buffer.
    ImageMemory(cameraHandle handle, const ImageInfo &info);
    ~ImageMemory();

    ImageMemory(const ImageMemory &) = delete;
    ImageMemory &operator=(const ImageMemory &) = delete;

    int32_t id() const { return m_id; }
    char *memory() const { return m_memory; }
    bool isValid() const { return m_id != 0 && m_memory != nullptr; }

private:
    cameraHandle m_handle;
    int32_t m_id = 0;
    char *m_memory = nullptr;
};
