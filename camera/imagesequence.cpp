#include "camera/imagesequence.h"

#include "camera/imagememory.h"

#include <memory>
#include <stdexcept>

ImageSequence::~ImageSequence()
{
    clear();
}

void ImageSequence::allocate(cameraHandle handle, int count, const ImageInfo &info)
{
    clear();
    m_handle = handle;
    m_info = info;
    while (m_buffers.size() < count)
        addBuffer();
}

void ImageSequence::addBuffer()
{
    auto buffer = std::make_unique<ImageMemory>(m_handle, m_info);
    if (tv_AddToSequence(m_handle, buffer->memory(), buffer->id()) != TV_SUCCESS)
        throw std::runtime_error(tr("Can't add buffer to sequence.").toStdString());
    m_buffers.append(buffer.release());
}

void ImageSequence::clear()
{
    if (m_buffers.isEmpty())
        return;
    tv_ClearSequence(m_handle);
    for (ImageMemory *buffer : qAsConst(m_buffers))
        delete buffer;
    m_buffers.clear();
}
