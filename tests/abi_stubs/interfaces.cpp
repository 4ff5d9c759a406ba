// Derives from every interface, which makes the compiler lay all of them out.
#include "mivare/mivare.h"

namespace mivare {

template <class Interface>
struct Laid : Interface {
  Laid();
};
template <class Interface>
Laid<Interface>::Laid() = default;

template struct Laid<IMediaDesc>;
template struct Laid<ISubtitleDesc>;
template struct Laid<IMediaBuffer>;
template struct Laid<IAllocator>;
template struct Laid<IAllocatorEx>;
template struct Laid<IGpuAllocator>;
template struct Laid<IMediaSample>;
template struct Laid<IUserDataInquire>;
template struct Laid<IUserDataConfig>;
template struct Laid<IExtendData>;
template struct Laid<IAudioVolumeInquire>;
template struct Laid<IAudioVolumeConfig>;
template struct Laid<ITrackAudioVolumeManager>;
template struct Laid<IVideoMultiCameraFrameInquire>;
template struct Laid<IVideoMultiCameraFrameConfig>;
template struct Laid<IVideoMultiCameraFrameManger>;

}  // namespace mivare
