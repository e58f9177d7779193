// calyx db init: prepares an existing PostgreSQL server for the media index.
#include <libpq-fe.h>
#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

#include "db_setup.h"
#include "indexer/media_index_schema.h"
#include "tool.h"

namespace calyx_tool {

namespace {

using Connection = std::unique_ptr<PGconn, decltype(&PQfinish)>;

void Say(const std::string& line) {
    std::cout << "calyx db init: " << line << "\n" << std::flush;
}

Connection Connect(const ConnectionParams& params) {
    std::vector<const char*> keys;
    std::vector<const char*> values;
    for (const auto& [key, value] : params) {
        keys.push_back(key.c_str());
        values.push_back(value.c_str());
    }
    keys.push_back(nullptr);
    values.push_back(nullptr);
    return Connection(PQconnectdbParams(keys.data(), values.data(), 0), PQfinish);
}

// The rows of a query as text (NULL as ""); throws ToolError with libpq's reason.
std::vector<std::vector<std::string>> Query(PGconn* conn, const std::string& sql) {
    std::unique_ptr<PGresult, decltype(&PQclear)> result(PQexec(conn, sql.c_str()), PQclear);
    const ExecStatusType status = PQresultStatus(result.get());
    if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK)
        Fail(sql.substr(0, sql.find(' ')) +
             " failed: " + calyx_indexer::OneLine(PQerrorMessage(conn)));
    std::vector<std::vector<std::string>> rows;
    for (int r = 0; r < PQntuples(result.get()); ++r) {
        std::vector<std::string> row;
        row.reserve(static_cast<size_t>(PQnfields(result.get())));
        for (int c = 0; c < PQnfields(result.get()); ++c)
            row.emplace_back(PQgetvalue(result.get(), r, c));
        rows.push_back(std::move(row));
    }
    return rows;
}

bool Exists(PGconn* conn, const std::string& sql) {
    return !Query(conn, sql).empty();
}

// Creates the "admin" role and the "calyx" database where missing, on the connection of
// a role that may. Throws ToolError saying which right is missing.
void CreateRoleAndDatabase(PGconn* conn) {
    const auto me = Query(conn,
                          "SELECT current_user, rolsuper, rolcreaterole, rolcreatedb FROM "
                          "pg_roles WHERE rolname = current_user");
    if (me.empty())
        Fail("cannot read the attributes of the connected role");
    const std::string& role = me[0][0];
    const bool super = me[0][1] == "t";
    const std::string runAs =
        " (connect as a superuser: run it as the postgres system user, for example "
        "'sudo -u postgres calyx db init', or give --database '... user=ROLE')";

    if (Exists(conn, "SELECT 1 FROM pg_roles WHERE rolname = '" + std::string(kIndexRole) + "'")) {
        Say("the role \"" + std::string(kIndexRole) + "\" exists");
    } else {
        if (!super && me[0][2] != "t")
            Fail("the role \"" + role + "\" may not create roles (it has neither CREATEROLE nor " +
                 "SUPERUSER), and the role \"" + kIndexRole + "\" is missing" + runAs);
        Query(conn, "CREATE ROLE " + std::string(kIndexRole) + " LOGIN");
        Say("created the role \"" + std::string(kIndexRole) + "\"");
    }

    if (Exists(conn,
               "SELECT 1 FROM pg_database WHERE datname = '" + std::string(kIndexDatabase) + "'")) {
        Say("the database \"" + std::string(kIndexDatabase) + "\" exists");
        return;
    }
    if (!super && me[0][3] != "t")
        Fail("the role \"" + role + "\" may not create databases (it has neither CREATEDB nor " +
             "SUPERUSER), and the database \"" + kIndexDatabase + "\" is missing" + runAs);
    // Giving the database to "admin" needs membership in it, which CREATEROLE may grant.
    if (!super && !Exists(conn, "SELECT 1 WHERE pg_has_role(current_user, '" +
                                    std::string(kIndexRole) + "', 'MEMBER')"))
        Query(conn, "GRANT " + std::string(kIndexRole) + " TO CURRENT_USER");
    Query(conn, "CREATE DATABASE " + std::string(kIndexDatabase) + " OWNER " + kIndexRole +
                    " ENCODING 'UTF8' TEMPLATE template0");
    Say("created the database \"" + std::string(kIndexDatabase) + "\" owned by \"" + kIndexRole +
        "\"");
}

// What a refused "admin" login needs: the pg_hba.conf line, the file, the reload.
void ExplainRefusedLogin(PGconn* setup, PGconn* refused) {
    const std::string reason = calyx_indexer::OneLine(PQerrorMessage(refused));
    HbaPlace place;
    const char* host = PQhost(setup);
    place.socket = host == nullptr || host[0] == '/' || host[0] == '@';
    if (!place.socket) {
        const auto addr = Query(setup, "SELECT host(inet_client_addr())");
        place.clientAddress = addr.empty() ? "" : addr[0][0];
    }
    // The file's name is shown to superusers and pg_read_all_settings only.
    const auto file = Query(setup, "SELECT setting FROM pg_settings WHERE name = 'hba_file'");
    const std::string hbaFile = file.empty() ? "" : file[0][0];
    std::cerr << "calyx db init: the server refuses the login of \"" << kIndexRole
              << "\" to the database \"" << kIndexDatabase << "\": " << reason << "\n"
              << "Add this line to "
              << (hbaFile.empty() ? "the server's pg_hba.conf (SHOW hba_file names it)" : hbaFile)
              << " above its first line for all users (on Debian 'local all all peer'):\n\n"
              << "    " << HbaLine(place) << "\n\n"
              << "then reload the server (systemctl reload postgresql, or SELECT "
                 "pg_reload_conf()) and run calyx db init again.\n";
    Fail("the database is not ready: the login of \"" + std::string(kIndexRole) + "\" is refused");
}

void RunInit(const std::string& conninfo) {
    ConnectionParams params;
    std::string error;
    if (!ParseConninfo(conninfo, params, error))
        UsageFail("db init: --database: " + error);

    Connection setup = Connect(SetupParams(params));
    if (PQstatus(setup.get()) != CONNECTION_OK)
        Fail("cannot connect to the PostgreSQL server to create the role and the database: " +
             calyx_indexer::OneLine(PQerrorMessage(setup.get())) +
             (IsRefusedLogin(PQerrorMessage(setup.get()))
                  ? " (connect as a role that may create roles and databases, for example "
                    "'sudo -u postgres calyx db init')"
                  : ""));
    CreateRoleAndDatabase(setup.get());

    Connection index = Connect(IndexParams(params));
    if (PQstatus(index.get()) != CONNECTION_OK) {
        if (IsRefusedLogin(PQerrorMessage(index.get())))
            ExplainRefusedLogin(setup.get(), index.get());
        Fail("cannot connect as \"" + std::string(kIndexRole) + "\" to the database \"" +
             kIndexDatabase + "\": " + calyx_indexer::OneLine(PQerrorMessage(index.get())));
    }
    // The schema scripts' notices ("already exists, skipping") are no news here.
    Query(index.get(), "SET client_min_messages TO warning");
    if (!calyx_indexer::ApplyMediaIndexSchema(index.get(), error))
        Fail("cannot create the media index's tables: " + error);
    if (!calyx_indexer::ApplyMediaServerSchema(index.get(), error))
        Fail("cannot create the media server's tables: " + error);
    Say("the media index schema and the media server's tables are in place");
    const char* port = PQport(index.get());
    const std::string server =
        ServerSetting(PQhost(index.get()), port != nullptr ? port : "", params);
    // A configuration value with blanks is quoted, or it would be read as several values.
    Say("ready; start the media server with --database '" + server +
        "' (or the line: database = \"" + server + "\" in its configuration file)");
}

}  // namespace

void AddDbCommand(CLI::App& app) {
    CLI::App* cmd = app.add_subcommand("db", "Prepare a PostgreSQL server for the media index");
    auto conninfo = std::make_shared<std::string>();
    CLI::App* init = cmd->add_subcommand(
        "init",
        "Create the role \"admin\", the database \"calyx\" and the schema of the media index and "
        "of the media server (what exists is kept)");
    init->add_option("--database", *conninfo,
                     "libpq connection string of the server and of a role that may create roles "
                     "and databases (default: libpq's environment, as the current system user)");
    init->footer(
        "Run it as the postgres system user on the database machine (sudo -u postgres calyx db\n"
        "init), or name a superuser in --database. When the server then refuses the login of\n"
        "\"admin\", it prints the pg_hba.conf line to add. Running it again changes nothing.");
    init->callback([conninfo] { RunInit(*conninfo); });
}

}  // namespace calyx_tool
