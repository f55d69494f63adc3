// All clients of the public App Store.
#pragma once

#include "Core/aso/AppStoreHTMLScraper.h"
#include "Core/aso/AppleChartsClient.h"
#include "Core/aso/AppleSearchHintsClient.h"
#include "Core/aso/ITunesSearchClient.h"

namespace quorvel {

struct StoreClients {
    ITunesSearchClient search;
    AppleSearchHintsClient hints;
    AppleChartsClient charts;
    AppStoreHTMLScraper pages;
};

} // namespace quorvel
