#include "upgrade_hand.h"

#include <sys/statvfs.h>

#include <algorithm>

#include "common/digest.h"
#include "nfz_file/nfz_file.h"
#include "upgrade_wire.h"

bytes_t database(uint32_t version, size_t size)
{
    const peers::nfz_version_t number = {{1, 0, 0, version}};
    return peers::build_nfz_file({number, 1, 1, peers::generate_nfz_content(number, size - peers::NFZ_MIN_SIZE)});
}

size_t blocks_of(const bytes_t& database)
{
    return (database.size() + BLOCK - 1) / BLOCK;
}

const bytes_t& old_database()
{
    static const bytes_t OLD = database(5, 3000);
    return OLD;
}

std::string on_disk(const bytes_t& sent)
{
    const bytes_t file = file_bytes(DATABASE);
    if (file.empty()) return "EMPTY";
    if (file == old_database()) return "OLD";
    if (file == sent) return "NEW";
    return file.size() < sent.size() && std::equal(file.begin(), file.end(), sent.begin()) ? "CUT" : "mixed";
}

bytes_t start_payload(uint32_t size)
{
    upgrade_request_receive_req_t request = {};
    request.firmware_size = size;
    return joined(peers::bytes_of(request));
}

bytes_t block_payload(int32_t number, peers::bytes_view data)
{
    const upgrade_data_transfer_req_t head = {0, number, static_cast<uint16_t>(data.size())};
    return joined(peers::bytes_of(head), data);
}

bytes_t block_payload_of(const bytes_t& database, int32_t number)
{
    const size_t begin = std::min(static_cast<size_t>(number) * BLOCK, database.size());
    return block_payload(number, peers::bytes_view(database).subspan(begin, std::min(BLOCK, database.size() - begin)));
}

uint8_t upgrade_code(Run& run, uint8_t id, const bytes_t& payload)
{
    const bytes_t reply = run.world.ask(PHONE, HOST_NFZ_UPGRADE, SET_COMMON, id, payload);
    return reply.empty() ? NO_ANSWER : reply[0];
}

uint8_t whole_upgrade(Run& run, const bytes_t& database, int tries)
{
    upgrade_code(run, ID_UPGRADE_ENTRY, bytes_t(9));
    upgrade_code(run, ID_UPGRADE_START, start_payload(static_cast<uint32_t>(database.size())));
    for (size_t i = 0; i < blocks_of(database); i++) {
        const bytes_t block = block_payload_of(database, static_cast<int32_t>(i));
        for (int left = tries; left > 0; left--)
            if (upgrade_code(run, ID_UPGRADE_DATA, block) != UPGRADE_RET_NOT_WRITTEN) break;
    }
    return upgrade_code(run, ID_UPGRADE_END, end_payload(database));
}

bytes_t end_payload(const bytes_t& database)
{
    return joined(bytes_t(1), peers::md5_of(database));
}

bytes_t read_payload(uint32_t address, uint32_t length)
{
    return joined(peers::bytes_of(upgrade_profile_read_file_req_t{0, address, length}));
}

UpgradeHand::UpgradeHand(Run& run, const bytes_t& stored) : run_(run), model_(stored)
{
    if (!stored.empty()) write_file(DATABASE, stored);
    run.world.launch();
    expect_file("the start");
}

void UpgradeHand::expect_file(const std::string& after)
{
    const bytes_t file = file_bytes(DATABASE);
    run_.expect(file == model_.file(), "after " + after + " the file has " + std::to_string(file.size()) +
                                           " bytes, or others, instead of " + std::to_string(model_.file().size()));
}

uint8_t UpgradeHand::ask(uint8_t id, const bytes_t& payload, const peer_name_t& from)
{
    bytes_t wanted;
    if (id == ID_UPGRADE_ENTRY) wanted = model_.entry(from.host, payload);
    if (id == ID_UPGRADE_START) wanted = model_.start(payload);
    if (id == ID_UPGRADE_DATA) wanted = model_.data(payload);
    if (id == ID_UPGRADE_END) wanted = model_.end(payload);
    const bytes_t got = run_.world.ask(from, HOST_NFZ_UPGRADE, SET_COMMON, id, payload);
    const std::string what = "request " + hex(id) + " of " + std::to_string(payload.size()) + " bytes";
    run_.expect(got == wanted, what + " is answered by " + hex(got) + " instead of " + hex(wanted));
    expect_file(what);
    if (id == ID_UPGRADE_END) expect_read_only(what);
    return got[0];
}

// Whatever became of the upgrade.
void UpgradeHand::expect_read_only(const std::string& after) const
{
    struct statvfs info = {};
    const auto is_so = [&info] { return statvfs("/tmp/NFZ", &info) == 0 && (info.f_flag & ST_RDONLY) != 0; };
    run_.expect(run_.world.until(is_so, SECOND_US), "after " + after + " the file system is writable");
}

uint8_t UpgradeHand::entry(const peer_name_t& from, size_t length)
{
    return ask(ID_UPGRADE_ENTRY, bytes_t(length), from);
}

uint8_t UpgradeHand::start(uint32_t size, const peer_name_t& from)
{
    return ask(ID_UPGRADE_START, start_payload(size), from);
}

uint8_t UpgradeHand::block(int32_t number, const bytes_t& database, const peer_name_t& from)
{
    return ask(ID_UPGRADE_DATA, block_payload_of(database, number), from);
}

uint8_t UpgradeHand::end(const bytes_t& database, const peer_name_t& from)
{
    return ask(ID_UPGRADE_END, end_payload(database), from);
}

uint8_t UpgradeHand::read(uint32_t address, uint32_t length)
{
    const bytes_t payload = read_payload(address, length);
    const bytes_t got = run_.world.ask(STATION, HOST_NFZ_UPGRADE, SET_FLYLIMIT, ID_NFZ_READ, payload);
    const bytes_t wanted = model_.read(payload);
    run_.expect(got == wanted, "the range " + std::to_string(address) + "+" + std::to_string(length) +
                                   " is answered by " + hex(got) + " instead of " + hex(wanted));
    return got[0];
}

void UpgradeHand::begins(const bytes_t& database, size_t blocks, const peer_name_t& from)
{
    run_.expect(entry(from) == 0, "the entry is refused");
    run_.expect(start(static_cast<uint32_t>(database.size()), from) == 0, "the start is refused");
    for (size_t i = 0; i < blocks; i++)
        run_.expect(block(static_cast<int32_t>(i), database, from) == 0, "block " + std::to_string(i) + " is refused");
}

uint8_t UpgradeHand::sends(const bytes_t& database)
{
    begins(database, blocks_of(database));
    return end(database);
}

void UpgradeHand::reads_back()
{
    const size_t size = model_.file().size();
    for (size_t at = 0; at < size; at += PROFILE_MAX_READ)
        read(static_cast<uint32_t>(at), static_cast<uint32_t>(std::min<size_t>(PROFILE_MAX_READ, size - at)));
    read(static_cast<uint32_t>(size), 1);
}

void UpgradeHand::restarts()
{
    run_.world.kill();
    run_.world.launch();
    model_.restarts();
    expect_file("the restart");
}

void UpgradeHand::falls_silent(uint64_t us)
{
    run_.world.pass(us);
    model_.falls_silent();
    expect_file("the silence");
    expect_read_only("the silence");
}
