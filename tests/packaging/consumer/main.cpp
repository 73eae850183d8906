// A minimal camera core built against the installed library; it finds its
// hardware module where the installed platform keeps them.
#include <android/misc/IZelHardwareHandler.h>
#include <android/wrappers/ZelCamera3Stream.h>

int main() {
    zelkov::ZelCamera3Stream stream;
    stream.SetWidth(640);
    zelkov::ZelCamera3Stream copy(stream);
    const hw_module_t* module = nullptr;
    const int found = zelkov::IZelHardwareHandler::GetInstance()->GetModule("zelkov_packaging", &module);
    return copy.GetWidth() == 640 && zelkov::ZelCamera3Stream::Size() >= 96 && found == 0 && module != nullptr ? 0 : 1;
}
