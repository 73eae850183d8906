// A minimal camera core built against the installed library.
#include <android/wrappers/ZelCamera3Stream.h>

int main() {
    zelkov::ZelCamera3Stream stream;
    stream.SetWidth(640);
    zelkov::ZelCamera3Stream copy(stream);
    return copy.GetWidth() == 640 && zelkov::ZelCamera3Stream::Size() >= 96 ? 0 : 1;
}
