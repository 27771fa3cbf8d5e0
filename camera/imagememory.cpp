#include "camera/imagememory.h"

#include "camera/imageinfo.h"

#include <stdexcept>

ImageMemory::ImageMemory(cameraHandle handle, const ImageInfo &info)
    : m_handle(handle)
{
    if (tv_AllocImageMem(m_handle, info.width, info.height, info.bitsPerPixel, &m_memory, &m_id)
        != TV_SUCCESS)
        throw std::runtime_error(tr("Can't allocate image memory.").toStdString());
}

ImageMemory::~ImageMemory()
{
    tv_FreeImageMem(m_handle, m_memory, m_id);
}
