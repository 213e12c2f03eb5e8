#include "host/catalog/catalog.h"
#include "host/catalog/rows.h"

namespace tarnctl {
namespace {

// Reads the columns id, role, provider, name, parent, blob, encoding.
std::optional<NodeRecord> nodeOf(const Statement& row) {
    const auto role = nodeRoleNamed(row.text(1));
    if (!role) {
        return std::nullopt;
    }
    NodeRecord record{row.integer(0), {*role, row.text(2), row.text(3), row.optionalInteger(4)}, std::nullopt};
    if (!row.isNull(5)) {
        record.blob = Blob{row.text(5), static_cast<std::uint32_t>(row.integer(6))};
    }
    return record;
}

}  // namespace

Result<std::int64_t> Catalog::addNode(const std::string& snapshotId, const NewNode& node) {
    Result<Transaction> transaction = write();
    if (!transaction) {
        return transaction.failure();
    }
    // A parent of another snapshot would be deleted with that snapshot, and this node with it.
    Result<Statement> statement = database_.prepare(
        "INSERT INTO nodes (snapshot, role, provider, name, parent)"
        " SELECT s.id, ?2, ?3, ?4, ?5 FROM snapshots s WHERE s.id = ?1"
        " AND (?5 IS NULL OR EXISTS (SELECT 1 FROM nodes p WHERE p.id = ?5 AND p.snapshot = s.id))");
    if (!statement) {
        return statement.failure();
    }
    statement->bind(snapshotId).bind(nameOf(node.role)).bind(node.provider).bind(node.name).bind(node.parent);
    if (Status status = statement->run(); !status) {
        return status.failure();
    }
    if (database_.changes() == 0) {
        return notFound("snapshot or parent node", snapshotId);
    }
    const Result<std::int64_t> id = database_.integerOf("SELECT last_insert_rowid()");
    if (!id) {
        return id;
    }
    if (Status status = transaction->commit(); !status) {
        return status.failure();
    }
    return id;
}

Status Catalog::writeBlob(std::int64_t nodeId, const Blob& blob) {
    Result<Transaction> transaction = write();
    if (!transaction) {
        return transaction.failure();
    }
    Result<Statement> statement = database_.prepare("UPDATE nodes SET blob = ?, encoding = ? WHERE id = ?");
    if (!statement) {
        return statement.failure();
    }
    statement->bindBlob(blob.bytes).bind(std::int64_t{blob.encoding}).bind(nodeId);
    return commitOneChange(*transaction, *statement, "node", std::to_string(nodeId));
}

Status Catalog::dropNodes(const std::string& snapshotId, NodeRole role) {
    Result<Transaction> transaction = write();
    if (!transaction) {
        return transaction.failure();
    }
    Result<Statement> statement = database_.prepare("DELETE FROM nodes WHERE snapshot = ? AND role = ?");
    if (!statement) {
        return statement.failure();
    }
    statement->bind(snapshotId).bind(nameOf(role));
    if (Status status = statement->run(); !status) {
        return status;
    }
    return transaction->commit();
}

Result<std::vector<NodeRecord>> Catalog::nodes(const std::string& snapshotId) const {
    Result<Statement> statement = database_.prepare(
        "SELECT id, role, provider, name, parent, blob, encoding FROM nodes WHERE snapshot = ? ORDER BY id");
    if (!statement) {
        return statement.failure();
    }
    statement->bind(snapshotId);
    return readRows(database_, *statement, nodeOf, "a node's role is unknown");
}

}  // namespace tarnctl
