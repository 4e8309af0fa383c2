#include "linked.c"
