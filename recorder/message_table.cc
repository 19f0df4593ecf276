#include "recorder/message_table.h"

#include <fmt/format.h>
#include <google/protobuf/unknown_field_set.h>

#include <algorithm>

namespace orvane::recorder {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

// Columns that are not derived from the message.
constexpr int kOwnColumns = 2;

// Returns the SQL type of a column.
const char* TypeOf(const FieldDescriptor& field) {
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_STRING:
      return field.type() == FieldDescriptor::TYPE_BYTES ? "BLOB" : "TEXT";
    case FieldDescriptor::CPPTYPE_ENUM:
      return "TEXT";
    case FieldDescriptor::CPPTYPE_DOUBLE:
    case FieldDescriptor::CPPTYPE_FLOAT:
      return "REAL";
    default:
      return "INTEGER";
  }
}

std::string Definition(const MessageTable::Column& column) {
  return column.name + " " + TypeOf(*column.path.back());
}

// Returns the message that contains the column's field, or null if a message on the path is not
// set.
const Message* Find(const Message& message, const MessageTable::Column& column) {
  const Message* found = &message;
  for (std::size_t i = 0; i + 1 < column.path.size(); ++i) {
    const Reflection& reflection = *found->GetReflection();
    if (!reflection.HasField(*found, column.path[i])) return nullptr;
    found = &reflection.GetMessage(*found, column.path[i]);
  }
  return found->GetReflection()->HasField(*found, column.path.back()) ? found : nullptr;
}

void BindText(const std::string& text, int index, SQLite::Statement* statement) {
  statement->bindNoCopy(index, text);
}

void BindField(const Message& message, const FieldDescriptor* field, int index,
               SQLite::Statement* statement) {
  const Reflection& reflection = *message.GetReflection();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return statement->bind(index, reflection.GetInt32(message, field));
    case FieldDescriptor::CPPTYPE_UINT32:
      return statement->bind(index, reflection.GetUInt32(message, field));
    case FieldDescriptor::CPPTYPE_INT64:
      return statement->bind(index, std::int64_t{reflection.GetInt64(message, field)});
    case FieldDescriptor::CPPTYPE_UINT64:
      return statement->bind(index,
                             static_cast<std::int64_t>(reflection.GetUInt64(message, field)));
    case FieldDescriptor::CPPTYPE_BOOL:
      return statement->bind(index, reflection.GetBool(message, field) ? 1 : 0);
    case FieldDescriptor::CPPTYPE_ENUM:
      return BindText(reflection.GetEnum(message, field)->name(), index, statement);
    case FieldDescriptor::CPPTYPE_FLOAT:
      return statement->bind(index, double{reflection.GetFloat(message, field)});
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return statement->bind(index, reflection.GetDouble(message, field));
    case FieldDescriptor::CPPTYPE_STRING: {
      std::string unused;
      const std::string& text = reflection.GetStringReference(message, field, &unused);
      return BindText(text, index, statement);
    }
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return;  // has its own columns
  }
}

}  // namespace

MessageTable::MessageTable(std::string_view name, const Descriptor& message) : name_(name) {
  AddColumns(message, {});
}

void MessageTable::AddColumns(const Descriptor& message, const Column& parent) {
  for (int i = 0; i < message.field_count(); ++i) {
    const FieldDescriptor* field = message.field(i);
    if (field->is_repeated()) continue;
    Column column = parent;
    if (!column.name.empty()) column.name += "_";
    column.name += field->name();
    column.path.push_back(field);
    if (field->message_type() != nullptr) {
      AddColumns(*field->message_type(), column);
    } else {
      columns_.push_back(std::move(column));
    }
  }
}

std::string MessageTable::Create() const {
  std::string sql = "CREATE TABLE " + name_ +
                    " (record_id INTEGER NOT NULL REFERENCES records (id), interface TEXT";
  for (const Column& column : columns_) sql += ", " + Definition(column);
  return sql + ")";
}

std::string MessageTable::AddColumn(const Column& column) const {
  return "ALTER TABLE " + name_ + " ADD COLUMN " + Definition(column);
}

std::string MessageTable::Insert() const {
  std::string sql = "INSERT INTO " + name_ + " (record_id, interface";
  for (const Column& column : columns_) sql += ", " + column.name;
  sql += ") VALUES (?, ?";
  for (std::size_t i = 0; i < columns_.size(); ++i) sql += ", ?";
  return sql + ")";
}

void MessageTable::Bind(std::int64_t record_id, const std::string* interface,
                        const Message& message, SQLite::Statement* insert) const {
  insert->clearBindings();
  insert->bind(1, record_id);
  if (interface != nullptr) insert->bindNoCopy(2, *interface);
  int index = kOwnColumns;
  for (const Column& column : columns_) {
    ++index;
    if (const Message* owner = Find(message, column)) {
      BindField(*owner, column.path.back(), index, insert);
    }
  }
}

bool HasMoreThanColumns(const Message& message) {
  const Reflection& reflection = *message.GetReflection();
  if (!reflection.GetUnknownFields(message).empty()) return true;
  std::vector<const FieldDescriptor*> fields;
  reflection.ListFields(message, &fields);
  return std::ranges::any_of(fields, [&](const FieldDescriptor* field) {
    if (field->is_repeated()) return true;
    return field->message_type() != nullptr &&
           HasMoreThanColumns(reflection.GetMessage(message, field));
  });
}

}  // namespace orvane::recorder
