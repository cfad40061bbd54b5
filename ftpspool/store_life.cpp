// An entry's life, as the service drives it.
#include "ftpspool/store.h"

void store_t::recover()
{
    database_.run("UPDATE entries SET state = 1, message = 'interrupted' WHERE state = 3");
}

std::vector<int64_t> store_t::expire(int64_t now_s)
{
    std::vector<int64_t> expired;
    statement_t query(database_,
                      "SELECT id FROM entries WHERE expires_s > 0 AND expires_s <= ?1 AND state IN (0, 1)");
    query.with(now_s);
    while (query.next())
        expired.push_back(query.number(0));
    std::erase_if(expired, [&](int64_t id) { return !expire_one(id, now_s); });
    return expired;
}

// A command may have changed it since it was found.
bool store_t::expire_one(int64_t id, int64_t now_s) const
{
    return change("UPDATE entries SET state = 6, error = 'expired', ended_s = ?2, "
                  "message = 'it had not arrived when it expired' "
                  "WHERE id = ?1 AND expires_s > 0 AND expires_s <= ?2 AND state IN (0, 1)",
                  id, now_s);
}

// After three failed tries an entry comes after those of its priority that failed less often. The ORDER BY
// must match the index `lines` (schema.cpp).
std::vector<ready_t> store_t::ready(int64_t now_s) const
{
    std::vector<ready_t> lines;
    statement_t servers(database_, "SELECT id FROM servers");
    statement_t first(database_,
                      "SELECT id, priority, urged FROM entries WHERE server = ?1 AND state IN (0, 1) AND "
                      "not_before_s <= ?2 "
                      "ORDER BY urged DESC, setbacks, priority DESC, max(tries, 2), id LIMIT 1");
    while (servers.next()) {
        const int64_t server = servers.number(0);
        if (first.with(server, now_s).next())
            lines.push_back({server, first.number(0), first.number(1), first.number(2) != 0});
    }
    return lines;
}

int64_t store_t::next_time(int64_t now_s) const
{
    statement_t query(
        database_,
        "SELECT min(s) FROM ("
        "SELECT min(not_before_s) AS s FROM entries WHERE not_before_s > 0 AND not_before_s > ?1 AND "
        "state IN (0, 1) UNION ALL "
        "SELECT min(expires_s) FROM entries WHERE expires_s > 0 AND state IN (0, 1))");
    query.with(now_s).next();
    return query.number(0);
}

int64_t store_t::first_arrived() const
{
    statement_t query(database_, "SELECT min(id) FROM entries WHERE state = 4");
    query.next();
    return query.number(0);
}

bool store_t::begin(int64_t id, const std::string &identity, const std::string &place)
{
    transaction_t transaction(database_);
    if (!change("UPDATE entries SET state = 3, urged = 0, identity = ?2, place = ?3 "
                "WHERE id = ?1 AND state IN (0, 1)",
                id, identity, place))
        return false;
    // Includes this entry.
    statement_t(database_, "UPDATE entries SET resumable = 0 WHERE resumable = 1 AND place = ?1")
        .with(place)
        .run();
    transaction.commit();
    return true;
}

void store_t::moved(int64_t id) { change("UPDATE entries SET resumable = 1 WHERE id = ?1", id); }

void store_t::setback(int64_t id, const setback_t &why)
{
    change("UPDATE entries SET state = iif(state = 3, 1, state), error = ?2, message = ?3, resumable = ?4, "
           "tries = tries + ?5, setbacks = setbacks + ?6 WHERE id = ?1 AND state IN (2, 3)",
           id, why.error, why.message, int64_t{why.resumable}, int64_t{why.counts}, int64_t{why.goes_behind});
}

void store_t::fail(int64_t id, const setback_t &why, int64_t now_s)
{
    change("UPDATE entries SET state = 6, error = ?2, message = ?3, resumable = ?4, ended_s = ?5, "
           "tries = tries + (state = 3) WHERE id = ?1",
           id, why.error, why.message, int64_t{why.resumable}, now_s);
}

bool store_t::arrived(int64_t id)
{
    return change("UPDATE entries SET state = 4, error = '', message = '' WHERE id = ?1", id);
}

void store_t::done(int64_t id, const std::string &note, int64_t now_s)
{
    change("UPDATE entries SET state = 5, error = '', message = ?2, ended_s = ?3 WHERE id = ?1", id, note,
           now_s);
}
