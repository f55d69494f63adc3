// Builds, their pre-release versions and TestFlight.
#pragma once

#include "Core/asc/records/Documents.h"

namespace quorvel {

struct ASCBuildAttributes {
    std::optional<std::string> processingState;
    std::optional<std::string> version;
    std::optional<std::string> uploadedDate;
    std::optional<bool> expired;
    std::optional<bool> usesNonExemptEncryption;
    QUORVEL_RECORD(ASCBuildAttributes, processingState, version, uploadedDate, expired,
                   usesNonExemptEncryption)
    bool operator==(const ASCBuildAttributes&) const = default;
};

struct PreReleaseVersionAttributes {
    std::optional<std::string> version;
    std::optional<std::string> platform;
    QUORVEL_RECORD(PreReleaseVersionAttributes, version, platform)
    bool operator==(const PreReleaseVersionAttributes&) const = default;
};

struct BuildPatchAttributes {
    bool usesNonExemptEncryption = false;
    QUORVEL_RECORD(BuildPatchAttributes, usesNonExemptEncryption)
    bool operator==(const BuildPatchAttributes&) const = default;
};

struct BuildBetaDetailAttributes {
    std::optional<std::string> internalBuildState;
    std::optional<std::string> externalBuildState;
    std::optional<bool> autoNotifyEnabled;
    QUORVEL_RECORD(BuildBetaDetailAttributes, internalBuildState, externalBuildState, autoNotifyEnabled)
    bool operator==(const BuildBetaDetailAttributes&) const = default;
};

struct BuildBetaDetailPatchAttributes {
    bool autoNotifyEnabled = false;
    QUORVEL_RECORD(BuildBetaDetailPatchAttributes, autoNotifyEnabled)
    bool operator==(const BuildBetaDetailPatchAttributes&) const = default;
};

struct BetaGroupAttributes {
    std::optional<std::string> name;
    std::optional<bool> isInternalGroup;
    std::optional<bool> publicLinkEnabled;
    std::optional<std::int64_t> publicLinkLimit;
    std::optional<bool> publicLinkLimitEnabled;
    std::optional<std::string> createdDate;
    std::optional<bool> hasAccessToAllBuilds;
    std::optional<std::string> publicLink;
    QUORVEL_RECORD(BetaGroupAttributes, name, isInternalGroup, publicLinkEnabled, publicLinkLimit,
                   publicLinkLimitEnabled, createdDate, hasAccessToAllBuilds, publicLink)
    bool operator==(const BetaGroupAttributes&) const = default;
};

struct BetaGroupCreateAttributes {
    std::string name;
    std::optional<bool> isInternalGroup;
    QUORVEL_RECORD(BetaGroupCreateAttributes, name, isInternalGroup)
    bool operator==(const BetaGroupCreateAttributes&) const = default;
};

struct BetaTesterAttributes {
    std::optional<std::string> firstName;
    std::optional<std::string> lastName;
    std::optional<std::string> email;
    std::optional<std::string> inviteType;
    std::optional<std::string> state;
    QUORVEL_RECORD(BetaTesterAttributes, firstName, lastName, email, inviteType, state)
    bool operator==(const BetaTesterAttributes&) const = default;
};

struct BetaTesterCreateAttributes {
    std::optional<std::string> firstName;
    std::optional<std::string> lastName;
    std::string email;
    QUORVEL_RECORD(BetaTesterCreateAttributes, firstName, lastName, email)
    bool operator==(const BetaTesterCreateAttributes&) const = default;
};

struct BetaBuildLocalizationAttributes {
    std::optional<std::string> locale;
    std::optional<std::string> whatsNew;
    QUORVEL_RECORD(BetaBuildLocalizationAttributes, locale, whatsNew)
    bool operator==(const BetaBuildLocalizationAttributes&) const = default;
};

struct BetaBuildLocalizationCreateAttributes {
    std::string locale;
    std::optional<std::string> whatsNew;
    QUORVEL_RECORD(BetaBuildLocalizationCreateAttributes, locale, whatsNew)
    bool operator==(const BetaBuildLocalizationCreateAttributes&) const = default;
};

struct BetaBuildLocalizationPatchAttributes {
    std::optional<std::string> whatsNew;
    QUORVEL_RECORD(BetaBuildLocalizationPatchAttributes, whatsNew)
    bool operator==(const BetaBuildLocalizationPatchAttributes&) const = default;
};

struct BetaAppReviewSubmissionAttributes {
    std::optional<std::string> betaReviewState;
    QUORVEL_RECORD(BetaAppReviewSubmissionAttributes, betaReviewState)
    bool operator==(const BetaAppReviewSubmissionAttributes&) const = default;
};

struct ASCBuildRelationship {
    ASCRelationshipBox build;
    QUORVEL_RECORD(ASCBuildRelationship, build)
};

struct BetaBuildLocalizationCreateEnvelope {
    struct Data {
        std::string type;
        BetaBuildLocalizationCreateAttributes attributes;
        ASCBuildRelationship relationships;
        QUORVEL_RECORD(Data, type, attributes, relationships)
    };
    Data data;
    QUORVEL_RECORD(BetaBuildLocalizationCreateEnvelope, data)
};

struct BetaAppReviewSubmissionCreateEnvelope {
    struct Data {
        std::string type;
        ASCBuildRelationship relationships;
        QUORVEL_RECORD(Data, type, relationships)
    };
    Data data;
    QUORVEL_RECORD(BetaAppReviewSubmissionCreateEnvelope, data)
};

/// The builds that a group gets, or loses.
struct BetaGroupAddBuildsEnvelope {
    std::vector<ASCRelationshipRef> data;
    QUORVEL_RECORD(BetaGroupAddBuildsEnvelope, data)
};

struct BetaTesterCreateEnvelope {
    struct Groups {
        std::vector<ASCRelationshipRef> data;
        QUORVEL_RECORD(Groups, data)
    };
    struct Relationships {
        Groups betaGroups;
        QUORVEL_RECORD(Relationships, betaGroups)
    };
    struct Data {
        std::string type;
        BetaTesterCreateAttributes attributes;
        Relationships relationships;
        QUORVEL_RECORD(Data, type, attributes, relationships)
    };
    Data data;
    QUORVEL_RECORD(BetaTesterCreateEnvelope, data)
};

/// A build with the marketing version and the platform of its pre-release version.
struct ASCBuildSummary {
    ASCResource<ASCBuildAttributes> build;
    std::optional<std::string> marketingVersion;
    std::optional<std::string> platform;
    QUORVEL_RECORD(ASCBuildSummary, build, marketingVersion, platform)
    bool operator==(const ASCBuildSummary&) const = default;
};

} // namespace quorvel
