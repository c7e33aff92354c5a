// A tree of losers over players that wait in memory; it serves string creation
// (players are slots), the final merge (blocks by their lowest record) and the
// spill (blocks by their highest).
//
// N players, N entries, no other storage.  Entry 0 holds the champion, every other
// entry the loser of the comparison made there, or null.  Entry i / 2 stands above
// entry i.  Two players share a leaf, an entry from N / 2 to N - 1 at which they
// start; with N odd the player at entry N / 2 starts alone.  Five players, lowest
// first, given as 7, then 3 and 5, then 9 and 1:
//
//      entry 0          1            champion, started at 4
//      entry 1          3            won at 3, lost here to 1
//                     /   \.
//      entries 2, 3  7     5         7 started here and lost to 1; 5 lost to 3
//                    |
//      entry 4       9               lost to 1
//
// Replacing the champion takes one comparison a level, along the path from its leaf
// to the top.  Null entries cost nothing: a player that is gone leaves one behind.
//
// Invariants: every player but those taken out stands in exactly one entry; no
// entry's player goes before the champion of the entry's part of the tree.
//
// Rules give `bool before(const Player &, const Player &)`, a strict order, and
// `uint32_t &leafof(Player &)`, where the player started.  They may give
// `weightof(const Player &)`, a number that orders as `before` does: who goes on is then
// chosen without a branch, which on random keys is guessed wrong every other time.
#pragma once

#include <cassert>
#include <cstdint>

namespace kvern {

template <typename Player, typename Rules>
class losertree {
  public:
    losertree(Player **where, Rules how) : entries(where), rules(how) {}

    // The tree of the first `players` of a chain linked by `link`, which may share its
    // memory with the leaf.
    void build(Player *chain, uint32_t players) {
        for (uint32_t at = 0; at < players; ++at)
            entries[at] = nullptr;
        uint32_t leaf = players / 2;
        if (players % 2 != 0) {
            Player *single = chain;
            chain = chain->link;
            rules.leafof(*single) = leaf;
            entries[leaf++] = single;
        }
        for (; leaf < players; ++leaf) {
            Player *first = chain;
            Player *second = first->link;
            chain = second->link;
            pair(leaf, first, second);
        }
        assert(entries[0] != nullptr);
    }

    Player *champion() const { return entries[0]; }
    void setchampion(Player *player) { entries[0] = player; }

    // The player takes the champion's place after it met the losers from `node` up.
    void replay(uint32_t node, Player *player) {
        if constexpr (requires { rules.weightof(*player); })
            player = weigh(node, player);
        else
            for (; node != 0; node /= 2)
                if (entries[node] != nullptr)
                    play(node, player);
        entries[0] = player;
    }
    // Takes out the loser nearest above the leaf at `node` and steps node to the
    // entry above it; null if the path is empty.
    Player *takeabove(uint32_t &node) {
        while (node != 0 && entries[node] == nullptr)
            node /= 2;
        if (node == 0)
            return nullptr;
        Player *player = entries[node];
        entries[node] = nullptr;
        node /= 2;
        return player;
    }
    // The champion is gone for good: the loser nearest above its leaf plays on.
    // False if there is none.
    bool withdraw() {
        uint32_t node = rules.leafof(*entries[0]);
        Player *player = takeabove(node);
        if (player == nullptr)
            return false;
        replay(node, player);
        return true;
    }

    // Fetches the players on the path from `node` into the cache, each at `offset`
    // bytes from its start; the top of the tree is there anyway.
    void prefetch(uint32_t node, uintptr_t offset) const {
        constexpr uint32_t alwayscached = 256; // entries, of which a cache holds the players
        for (; node >= alwayscached; node /= 2)
            __builtin_prefetch(reinterpret_cast<const void *>(
                reinterpret_cast<uintptr_t>(entries[node]) + offset));
    }

  private:
    Player **entries;
    Rules rules;

    // Of equal players the first goes on.
    void pair(uint32_t leaf, Player *first, Player *second) {
        rules.leafof(*first) = leaf;
        rules.leafof(*second) = leaf;
        entries[leaf] = second;
        Player *traveller = first;
        uint32_t node = leaf;
        while (entries[node] != nullptr) {
            play(node, traveller);
            node /= 2;
        }
        entries[node] = traveller;
    }

    static uintptr_t addressof(const Player *player) { return reinterpret_cast<uintptr_t>(player); }
    static Player *playerat(uintptr_t address) { return reinterpret_cast<Player *>(address); }

    // Exchanges by masks: written as choices, compilers make branches of them.
    Player *weigh(uint32_t node, Player *traveller) {
        auto mine = rules.weightof(*traveller);
        for (; node != 0; node /= 2) {
            Player *waiting = entries[node];
            if (waiting == nullptr)
                continue;
            const auto theirs = rules.weightof(*waiting);
            const bool passed = theirs < mine;
            const uintptr_t swap =
                (addressof(waiting) ^ addressof(traveller)) & -static_cast<uintptr_t>(passed);
            entries[node] = playerat(addressof(waiting) ^ swap);
            traveller = playerat(addressof(traveller) ^ swap);
            mine = passed ? theirs : mine;
        }
        return traveller;
    }

    void play(uint32_t node, Player *&traveller) {
        Player *waiting = entries[node];
        if (rules.before(*waiting, *traveller)) {
            entries[node] = traveller;
            traveller = waiting;
        }
    }
};

} // namespace kvern
