#include <zorbel/xmi/Xmi.h>
int main(){}
