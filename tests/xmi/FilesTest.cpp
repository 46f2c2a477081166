#include <zorbel/xmi/Xmi.h>

