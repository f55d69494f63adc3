#pragma once

#include "low/Bottom.h"
#include "low/Private.h"
