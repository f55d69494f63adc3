#pragma once

#include "low/Bottom.h"
