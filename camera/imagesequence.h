// The ring of image buffers that the camera fills: allocated from the library
// and registered with it as one sequence, in order of allocation. A member of
// Camera; GUI thread only.
#pragma once

#include "camera/imageinfo.h"
#include "camera/tavo_api.h"

#include <QCoreApplication>
#include <QVector>

class ImageMemory;

class ImageSequence
{
    Q_DECLARE_TR_FUNCTIONS(ImageSequence)

public:
    ImageSequence() = default;
    ~ImageSequence();

    ImageSequence(const ImageSequence &) = delete;
    ImageSequence &operator=(const ImageSequence &) = delete;

    // Frees what it holds, then allocates and registers count buffers.
    // Throws std::runtime_error; the buffers made so far stay until clear().
    void allocate(cameraHandle handle, int count, const ImageInfo &info);
    // Allocates one buffer and registers it; throws std::runtime_error.
    void addBuffer();
    // Unregisters and frees all buffers; does nothing when empty.
    void clear();

    int size() const { return m_buffers.size(); }
    const ImageMemory *buffer(int i) const { return m_buffers.at(i); }
    ImageInfo info() const { return m_info; }

private:
    cameraHandle m_handle = 0;
    ImageInfo m_info;
    QVector<ImageMemory *> m_buffers;
};
