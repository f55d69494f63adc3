#include "high/Top.h"
#include <QString>
