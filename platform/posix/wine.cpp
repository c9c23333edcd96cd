// Without Windows' own interfaces there is no Wine beneath.
#include "platform/wine.h"

bool korvan::RunningUnderWine() {
    return false;
}
