#include "channel/role.h"

#include "channel/channel.h"

namespace {

const ChannelRole kNoRole = {};
const ChannelRole* registered[kRoleKinds] = {};

}  // namespace

void RegisterRole(RoleKind kind, const ChannelRole* role) { registered[(int)kind] = role; }

const ChannelRole* RoleFor(RoleKind kind) {
    const ChannelRole* role = registered[(int)kind];
    return role ? role : &kNoRole;
}

const ChannelRole& RoleOf(const Channel& c) { return c.Role ? *c.Role : kNoRole; }
