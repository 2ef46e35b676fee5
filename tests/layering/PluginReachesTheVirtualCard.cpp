// Built by the layering test only, and expected not to build: a plug-in sees
// the SDK's and the framework's include/ and nothing of their insides.
#include <sim/VirtualCard.h>
